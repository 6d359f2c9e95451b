#pragma once

#include <string>

namespace tandrel::test {

/// What these stories' parts say when they fail.
inline constexpr const char* transportFailure = "The network is unreachable.";
inline constexpr const char* engineFailure = "Connection refused by the sound server";

/// Whether `text` is one that the program shows, word for word, with nothing in it but what it may
/// hold.
[[nodiscard]] bool isOwnText(const std::string& text);

} // namespace tandrel::test
