#pragma once

#include <QDBusAbstractAdaptor>
#include <QObject>
#include <QString>

#include <utility>

namespace tandrel::test {

/// Tells programs where the accessibility bus is.
class BusAddress : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.a11y.Bus")

public:
    BusAddress(QObject* parent, QString address)
        : QDBusAbstractAdaptor(parent)
        , address_(std::move(address)) {}

public Q_SLOTS:
    [[nodiscard]] QString GetAddress() const { return address_; }

private:
    QString address_;
};

} // namespace tandrel::test
