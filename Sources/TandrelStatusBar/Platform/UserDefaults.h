#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tandrel {

/// Small per-user settings: byte strings by key. Main thread; answers from memory, never waits for
/// the disk.
class UserDefaults {
public:
    UserDefaults() = default;
    UserDefaults(const UserDefaults&) = delete;
    UserDefaults& operator=(const UserDefaults&) = delete;
    virtual ~UserDefaults() = default;

    [[nodiscard]] virtual std::optional<std::string> data(std::string_view key) const = 0;
    virtual void setData(std::string_view key, std::string bytes) = 0;
    virtual void remove(std::string_view key) = 0;
};

} // namespace tandrel
