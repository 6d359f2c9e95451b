#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tandrel {

/// The bytes that `text` stands for in base 64 (RFC 4648, section 4, with padding), or nothing when
/// it is not exactly that: no white space, no missing padding, no stray bits. Any thread.
[[nodiscard]] std::optional<std::string> decodeBase64(std::string_view text);

} // namespace tandrel
