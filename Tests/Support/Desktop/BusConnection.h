#pragma once

#include <QDBusConnection>
#include <QString>
#include <QVariantList>

#include <chrono>
#include <string>

namespace tandrel::test {

/// A connection of the test's own to a bus, closed with the object.
class BusConnection {
public:
    explicit BusConnection(const std::string& address);
    ~BusConnection();
    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;

    [[nodiscard]] QDBusConnection connection() const { return connection_; }

    static constexpr std::chrono::milliseconds usualLimit{5000};

    /// Calls a method and waits for its answer; what came, empty after an error or in silence.
    [[nodiscard]] QVariantList call(const QString& service, const QString& path,
                                    const QString& interface, const QString& method,
                                    const QVariantList& arguments = {},
                                    std::chrono::milliseconds limit = usualLimit) const;
    /// A property; invalid when there is none, or no such object.
    [[nodiscard]] QVariant property(const QString& service, const QString& path,
                                    const QString& interface, const QString& name,
                                    std::chrono::milliseconds limit = usualLimit) const;

private:
    QString name_;
    QDBusConnection connection_;
};

} // namespace tandrel::test
