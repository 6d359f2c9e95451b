#pragma once

#include <string_view>

namespace tandrel {

/// Whether `bytes` are well-formed UTF-8 (RFC 3629): no overlong form, no surrogate, nothing above
/// U+10FFFF, no truncated sequence. Any thread.
[[nodiscard]] bool isValidUtf8(std::string_view bytes);

} // namespace tandrel
