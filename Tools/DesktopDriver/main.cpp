// Says what a running program shows, so that a script can use it as a person does.
//
//   quorvane-tandrel-desktop-driver PID await NAME     waits until something of that name shows
//   quorvane-tandrel-desktop-driver PID where NAME     waits until a control of that name can be
//                                                      used, and prints where its middle is: "X Y"
//   quorvane-tandrel-desktop-driver PID list           prints all that shows
//
// Asks over AT-SPI, whose bus the session bus knows. Exit codes: 0; 1 not within 15 s; 2 usage.

#include "Support/Desktop/AccessibleApp.h"
#include "Support/Desktop/BusConnection.h"
#include "Support/WaitUntil.h"

#include <QCoreApplication>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <string>
#include <vector>

using namespace tandrel::test;

namespace {

constexpr std::chrono::seconds limit{15};

std::string accessibilityBus() {
    const char* session = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    const BusConnection bus(session != nullptr ? session : "");
    const auto answer = bus.call(QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
                                 QStringLiteral("org.a11y.Bus"), QStringLiteral("GetAddress"));
    return answer.isEmpty() ? std::string() : answer.front().toString().toStdString();
}

int printPlace(AccessibleApp& app, const std::string& name) {
    std::optional<AccessibleElement> control;
    const bool isThere = waitUntil(
        [&] {
            const auto all = app.elements();
            const auto found = std::find_if(all.begin(), all.end(), [&](const auto& element) {
                return element.name == name && element.has(AccessibleElement::State::enabled) &&
                       element.has(AccessibleElement::State::focusable);
            });
            if (found != all.end()) {
                control = *found;
            }
            return control.has_value();
        },
        limit);
    if (!isThere) {
        std::fprintf(stderr, "not there: %s; what shows:\n%s", name.c_str(),
                     app.describe().c_str());
        return 1;
    }
    const auto area = app.extents(*control);
    std::printf("%d %d\n", area.x + area.width / 2, area.y + area.height / 2);
    return 0;
}

int run(const std::vector<std::string>& words) {
    AccessibleApp app(accessibilityBus(), static_cast<pid_t>(std::stol(words.at(0))));
    const std::string& command = words.at(1);
    if (command == "list") {
        std::fputs(app.describe().c_str(), stdout);
    } else if (command == "await") {
        app.awaitName(words.at(2), limit);
    } else if (command == "where") {
        return printPlace(app, words.at(2));
    } else {
        throw std::invalid_argument(command);
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    try {
        return run({argv + 1, argv + argc});
    } catch (const std::logic_error&) {
        std::fprintf(stderr, "usage: %s PID await NAME | where NAME | list\n", argv[0]);
        return 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
