#pragma once

#include <string>

namespace tandrel {

/// What is known of the start at login after a look or a change.
struct LoginStartAnswer {
    /// Whether the desktop starts the program at the next login.
    bool isOn = false;
    /// Why a change was not made, in words for people; empty when all went well.
    std::string problem;

    friend bool operator==(const LoginStartAnswer&, const LoginStartAnswer&) = default;
};

/// Whether the desktop starts the program when the user logs in. Every call touches the disk, so
/// not on the main thread of a program with an interface; one thread at a time.
class LoginStart {
public:
    LoginStart() = default;
    LoginStart(const LoginStart&) = delete;
    LoginStart& operator=(const LoginStart&) = delete;
    virtual ~LoginStart() = default;

    [[nodiscard]] virtual LoginStartAnswer look() const = 0;
    /// Switches it on or off; what it was before stands when that fails.
    virtual LoginStartAnswer change(bool toOn) = 0;
};

} // namespace tandrel
