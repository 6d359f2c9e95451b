#include "Platform/LogFolder.h"

#include <cstdlib>
#include <pwd.h>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace tandrel {

namespace {

std::string homeInUserDatabase() {
    static constexpr std::size_t generousEntry = 16384;
    std::vector<char> buffer(generousEntry);
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 ||
        found == nullptr || found->pw_dir == nullptr) {
        return {};
    }
    return found->pw_dir;
}

} // namespace

std::string homeDirectory() {
    const char* variable = std::getenv("HOME");
    std::string home =
        variable != nullptr && variable[0] == '/' ? std::string(variable) : homeInUserDatabase();
    while (home.ends_with('/')) {
        home.pop_back();
    }
    return home;
}

std::string logFolder(const std::string& home) {
#ifdef __APPLE__
    static constexpr std::string_view below = "/Library/Logs/Quorvane Tandrel";
#else
    static constexpr std::string_view below = "/.local/state/quorvane-tandrel";
#endif
    return home + std::string(below);
}

} // namespace tandrel
