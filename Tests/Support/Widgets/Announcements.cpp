#include "Support/Widgets/Announcements.h"

#include <QAccessible>

namespace tandrel::test {

namespace {

// The handler is a plain function.
std::vector<std::string>& words() {
    static std::vector<std::string> all;
    return all;
}

void listen(QAccessibleEvent* event) {
    const QAccessibleInterface* interface = event->accessibleInterface();
    const std::string name = interface->text(QAccessible::Name).toStdString();
    switch (event->type()) {
    case QAccessible::NameChanged:
        words().push_back("name " + name);
        break;
    case QAccessible::ObjectShow:
        if (interface->role() == QAccessible::Notification) {
            words().push_back("notification " + name);
        }
        break;
    default:
        break;
    }
}

} // namespace

Announcements::Announcements()
    : accessibility_(listen) {
    clear();
}

const std::vector<std::string>& Announcements::heard() const {
    return words();
}

void Announcements::clear() {
    words().clear();
}

} // namespace tandrel::test
