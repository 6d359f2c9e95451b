#pragma once

#include "Support/Desktop/BusConnection.h"

#include <QDBusVirtualObject>
#include <QThread>

#include <atomic>
#include <string>

namespace tandrel::test {

/// The desktop's settings portal, with one setting: `color-scheme` of org.freedesktop.appearance.
/// It answers on a thread of its own.
class SettingsPortal : public QDBusVirtualObject {
public:
    enum Scheme : unsigned { noPreference = 0, dark = 1, light = 2 };

    /// `address` is the session bus's.
    SettingsPortal(const std::string& address, Scheme scheme);
    ~SettingsPortal() override;

    /// Changes the setting and tells everybody.
    void set(Scheme scheme);
    /// How often it was asked.
    [[nodiscard]] int readCount() const { return reads_; }

    [[nodiscard]] QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    BusConnection bus_;
    std::atomic<unsigned> scheme_;
    std::atomic<int> reads_{0};
    QThread thread_;
};

} // namespace tandrel::test
