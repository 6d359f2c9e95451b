#include "TrayWatch.h"

#include <QTimer>

#include <stdexcept>

namespace tandrel::bench {

TrayWatch::TrayWatch(const std::string& busAddress)
    : connectionName_(QStringLiteral("tray-watch"))
    , connection_(
          QDBusConnection::connectToBus(QString::fromStdString(busAddress), connectionName_)) {
    const bool listens = connection_.connect(
        QStringLiteral("org.kde.StatusNotifierWatcher"), QStringLiteral("/StatusNotifierWatcher"),
        QStringLiteral("org.kde.StatusNotifierWatcher"),
        QStringLiteral("StatusNotifierItemRegistered"), this, SLOT(itemRegistered(QString)));
    if (!listens) {
        throw std::runtime_error("cannot listen to the panel");
    }
}

TrayWatch::~TrayWatch() {
    QDBusConnection::disconnectFromBus(connectionName_);
}

bool TrayWatch::awaitIcon(std::chrono::milliseconds limit) {
    if (itemsSeen_ == 0) {
        QTimer timer;
        timer.setSingleShot(true);
        connect(&timer, &QTimer::timeout, &loop_, &QEventLoop::quit);
        timer.start(limit);
        loop_.exec();
    }
    return itemsSeen_ > 0;
}

void TrayWatch::itemRegistered(const QString& /*item*/) {
    ++itemsSeen_;
    loop_.quit();
}

} // namespace tandrel::bench
