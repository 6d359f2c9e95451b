#include "Harness/Environment.h"

#include "DebugLog.h"
#include "Harness/Check.h"
#include "Support/PrivateHome.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>
#include <unistd.h>

namespace tandrel::fuzz {

const std::filesystem::path& usePrivateEnvironment() {
    static const test::PrivateHome home;
    static const bool silenced = std::freopen("/dev/null", "w", stdout) != nullptr;
    FUZZ_EXPECT(silenced);
    return home.path();
}

std::vector<std::string> takeLogLines() {
    std::ifstream file(DebugLog::path(), std::ios::binary);
    std::istringstream text(std::string(std::istreambuf_iterator<char>(file), {}));
    if (file.is_open()) {
        FUZZ_EXPECT(::truncate(DebugLog::path().c_str(), 0) == 0);
    }
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        // "2026-11-15T21:55:03Z " comes before each message.
        static constexpr std::size_t timestampLength = 21;
        FUZZ_EXPECT(line.size() >= timestampLength && line[timestampLength - 2] == 'Z');
        lines.push_back(line.substr(timestampLength));
    }
    return lines;
}

} // namespace tandrel::fuzz
