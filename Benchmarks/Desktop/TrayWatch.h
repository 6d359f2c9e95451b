#pragma once

#include <QDBusConnection>
#include <QEventLoop>
#include <QObject>
#include <QString>

#include <chrono>
#include <string>

namespace tandrel::bench {

/// Waits for icons to come into a panel on the session bus. Main thread.
class TrayWatch : public QObject {
    Q_OBJECT

public:
    /// `busAddress` is that of the session on which the panel's watcher runs.
    explicit TrayWatch(const std::string& busAddress);
    ~TrayWatch() override;

    /// Forgets the icons that have come so far.
    void forget() { itemsSeen_ = 0; }
    /// Waits until an icon has come since the last `forget()`; whether it came.
    bool awaitIcon(std::chrono::milliseconds limit);

private Q_SLOTS:
    void itemRegistered(const QString& item);

private:
    QString connectionName_;
    QDBusConnection connection_;
    QEventLoop loop_;
    int itemsSeen_ = 0;
};

} // namespace tandrel::bench
