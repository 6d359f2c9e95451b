#include "Support/Desktop/InputDevices.h"

#include "Support/Desktop/VirtualDisplay.h"

#include <stdexcept>

namespace tandrel::test {

InputDevices::InputDevices(const VirtualDisplay& display)
    : environment_(display.clientEnvironment()) {}

void InputDevices::type(const std::string& text) const {
    run({"type", "--delay", "2", "--", text});
}

void InputDevices::press(const std::vector<std::string>& keys) const {
    std::vector<std::string> arguments{"key", "--delay", "2", "--"};
    arguments.insert(arguments.end(), keys.begin(), keys.end());
    run(arguments);
}

void InputDevices::click(int x, int y, int button) const {
    run({"mousemove", std::to_string(x), std::to_string(y), "click", std::to_string(button)});
}

void InputDevices::moveTo(int x, int y) const {
    run({"mousemove", std::to_string(x), std::to_string(y)});
}

void InputDevices::run(const std::vector<std::string>& arguments) const {
    std::vector<std::string> command{"xdotool"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    if (ChildProcess::run(command, environment_).exitCode != 0) {
        throw std::runtime_error("the display took no input: " + arguments.front());
    }
}

} // namespace tandrel::test
