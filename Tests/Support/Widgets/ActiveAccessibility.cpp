#include "Support/Widgets/ActiveAccessibility.h"

#include <QtGui/private/qguiapplication_p.h>
#include <QtGui/qpa/qplatformaccessibility.h>
#include <QtGui/qpa/qplatformintegration.h>

namespace tandrel::test {

namespace {

/// Without assistive technology no event is sent, and only the platform can say that it is there.
void setActive(bool active) {
    QGuiApplicationPrivate::platformIntegration()->accessibility()->setActive(active);
}

} // namespace

ActiveAccessibility::ActiveAccessibility(QAccessible::UpdateHandler listener)
    : outer_(QAccessible::installUpdateHandler(listener)) {
    setActive(true);
}

ActiveAccessibility::~ActiveAccessibility() {
    setActive(false);
    QAccessible::installUpdateHandler(outer_);
}

} // namespace tandrel::test
