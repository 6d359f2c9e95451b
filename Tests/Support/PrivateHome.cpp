#include "Support/PrivateHome.h"

#include "DebugLog.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

namespace tandrel::test {

PrivateHome::PrivateHome() {
    // Short: socket paths below it are limited to 107 bytes.
    std::string pattern = "/tmp/qtXXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        std::perror("mkdtemp");
        std::abort();
    }
    path_ = pattern;
    const auto set = [this](const char* name, const char* folder, bool make) {
        const std::filesystem::path value = path_ / folder;
        if (make) {
            std::filesystem::create_directories(value);
            std::filesystem::permissions(value, std::filesystem::perms::owner_all);
        }
        setenv(name, value.c_str(), 1);
    };
    setenv("HOME", path_.c_str(), 1);
    set("XDG_CONFIG_HOME", ".config", false);
    set("XDG_DATA_HOME", ".local/share", false);
    set("XDG_STATE_HOME", ".local/state", false);
    set("XDG_CACHE_HOME", ".cache", false);
    set("XDG_RUNTIME_DIR", "run", true);
    for (const char* name :
         {"DBUS_SESSION_BUS_ADDRESS", "PULSE_SERVER", "PULSE_RUNTIME_PATH", "PIPEWIRE_REMOTE",
          "DISPLAY", "WAYLAND_DISPLAY", "http_proxy", "https_proxy", "all_proxy", "no_proxy",
          "HTTP_PROXY", "HTTPS_PROXY", "ALL_PROXY", "NO_PROXY"}) {
        unsetenv(name);
    }
    DebugLog::createDirectory();
}

PrivateHome::~PrivateHome() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

} // namespace tandrel::test
