#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tandrel::fuzz {

/// Gives the process a home of its own, once, and takes its standard output away: what is printed
/// for users would drown libFuzzer's own lines. Returns the home.
const std::filesystem::path& usePrivateEnvironment();

/// The debug log's lines since the last call, without their timestamps. The log is emptied, so that
/// millions of inputs fill no disk.
std::vector<std::string> takeLogLines();

} // namespace tandrel::fuzz
