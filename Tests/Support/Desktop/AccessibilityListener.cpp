#include "Support/Desktop/AccessibilityListener.h"

#include "Support/Desktop/AccessibilityBus.h"
#include "Support/FileText.h"
#include "Support/WaitUntil.h"

#include <chrono>
#include <stdexcept>

namespace tandrel::test {

namespace {

using std::chrono::seconds;

std::filesystem::path emptied(const std::filesystem::path& file) {
    std::filesystem::remove(file);
    return file;
}

} // namespace

AccessibilityListener::AccessibilityListener(const AccessibilityBus& bus,
                                             const std::filesystem::path& folder)
    : file_(emptied(folder / "events"))
    , bus_(bus.address())
    , monitor_({"dbus-monitor", "--address", bus.address(),
                "type='signal',interface='org.a11y.atspi.Event.Object'"},
               {}, file_) {
    (void)bus_.call(QStringLiteral("org.a11y.atspi.Registry"),
                    QStringLiteral("/org/a11y/atspi/registry"),
                    QStringLiteral("org.a11y.atspi.Registry"), QStringLiteral("RegisterEvent"),
                    {QStringLiteral("object:property-change:accessible-name")});
    // The monitor's first words are its own name on the bus.
    if (!waitUntil([this] { return events().find("NameAcquired") != std::string::npos; },
                   seconds(10))) {
        throw std::runtime_error("the accessibility bus cannot be listened to: " + events());
    }
}

bool AccessibilityListener::awaitNewName(const AccessibleElement& element) const {
    // Qt names the element in the event, and leaves the new name to be asked for.
    const std::string start = "path=" + element.path + ';';
    return waitUntil(
        [&] {
            const std::string heard = events();
            for (auto at = heard.find(start); at != std::string::npos;
                 at = heard.find(start, at + 1)) {
                const auto line = heard.find('\n', at);
                if (heard.substr(line, heard.find('\n', line + 1) - line)
                        .find("\"accessible-name\"") != std::string::npos) {
                    return true;
                }
            }
            return false;
        },
        seconds(10));
}

std::string AccessibilityListener::events() const {
    return textOf(file_);
}

} // namespace tandrel::test
