#include "Support/Desktop/XEmbedTray.h"

#include "Support/Desktop/VirtualDisplay.h"
#include "Support/WaitUntil.h"

#include <chrono>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>

namespace tandrel::test {

namespace {

constexpr int iconSize = 24;

} // namespace

XEmbedTray::XEmbedTray(const VirtualDisplay& display, const std::filesystem::path& folder)
    : display_(display)
    , panel_({"trayer", "--edge", "top", "--align", "right", "--widthtype", "request",
              "--heighttype", "pixel", "--height", std::to_string(iconSize), "--padding", "0",
              "--SetDockType", "true", "--SetPartialStrut", "true"},
             display.clientEnvironment(), folder / "tray.log") {
    if (!waitUntil([&] { return display_.hasSelectionOwner("_NET_SYSTEM_TRAY_S0"); },
                   std::chrono::seconds(10))) {
        throw std::runtime_error("the panel does not start; see " + (folder / "tray.log").string());
    }
}

std::optional<AccessibleElement::Rectangle> XEmbedTray::iconArea() const {
    const auto answer = ChildProcess::run(
        {"sh", "-c", "exec xdotool search --name '^panel$' getwindowgeometry --shell 2>/dev/null"},
        display_.clientEnvironment());
    std::map<std::string, int> values;
    std::istringstream lines(answer.text);
    for (std::string line; std::getline(lines, line);) {
        const auto equals = line.find('=');
        if (equals != std::string::npos) {
            values[line.substr(0, equals)] = std::stoi(line.substr(equals + 1));
        }
    }
    // Empty, it is a line at the screen's edge.
    if (values["WIDTH"] < iconSize / 2) {
        return std::nullopt;
    }
    return AccessibleElement::Rectangle{values["X"], values["Y"], values["WIDTH"],
                                        values["HEIGHT"]};
}

AccessibleElement::Rectangle XEmbedTray::awaitIcon() const {
    std::optional<AccessibleElement::Rectangle> area;
    if (!waitUntil([&] { return (area = iconArea()).has_value(); }, std::chrono::seconds(10))) {
        throw std::runtime_error("no icon came into the panel");
    }
    return *area;
}

} // namespace tandrel::test
