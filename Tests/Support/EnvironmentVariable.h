#pragma once

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

namespace tandrel::test {

/// Sets an environment variable for its life, or removes it when `value` is empty. Not while other
/// threads may look.
class EnvironmentVariable {
public:
    EnvironmentVariable(std::string name, const std::string& value)
        : name_(std::move(name)) {
        if (const char* const before = std::getenv(name_.c_str())) {
            before_ = before;
        }
        set(value.empty() ? std::nullopt : std::optional(value));
    }
    ~EnvironmentVariable() { set(before_); }
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

private:
    void set(const std::optional<std::string>& value) {
        if (value) {
            setenv(name_.c_str(), value->c_str(), 1);
        } else {
            unsetenv(name_.c_str());
        }
    }

    std::string name_;
    std::optional<std::string> before_;
};

} // namespace tandrel::test
