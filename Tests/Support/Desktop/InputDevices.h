#pragma once

#include "Support/ChildProcess.h"

#include <string>
#include <vector>

namespace tandrel::test {

class VirtualDisplay;

/// The keyboard and the mouse of a virtual display. What they do reaches whatever has the focus or
/// lies under the pointer, as with real ones; each call returns once the X server has it.
class InputDevices {
public:
    explicit InputDevices(const VirtualDisplay& display);

    void type(const std::string& text) const;
    /// `keys` in X's names, modifiers first ("Tab", "shift+Tab", "ctrl+a"), one after the other.
    void press(const std::vector<std::string>& keys) const;
    /// Moves the pointer there and clicks; 1 is the left button.
    void click(int x, int y, int button = 1) const;
    void moveTo(int x, int y) const;

private:
    void run(const std::vector<std::string>& arguments) const;

    EnvironmentChanges environment_;
};

} // namespace tandrel::test
