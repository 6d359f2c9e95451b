#pragma once

#include <filesystem>
#include <string>

namespace tandrel::test {

/// All that a file holds, byte for byte; empty when it cannot be read.
[[nodiscard]] std::string textOf(const std::filesystem::path& file);

} // namespace tandrel::test
