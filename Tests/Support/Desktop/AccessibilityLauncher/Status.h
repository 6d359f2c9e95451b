#pragma once

#include <QDBusAbstractAdaptor>
#include <QObject>

namespace tandrel::test {

/// Tells programs that somebody uses assistive technology.
class Status : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.a11y.Status")
    Q_PROPERTY(bool IsEnabled READ isEnabled)
    Q_PROPERTY(bool ScreenReaderEnabled READ isEnabled)

public:
    explicit Status(QObject* parent)
        : QDBusAbstractAdaptor(parent) {}

    [[nodiscard]] static bool isEnabled() { return true; }
};

} // namespace tandrel::test
