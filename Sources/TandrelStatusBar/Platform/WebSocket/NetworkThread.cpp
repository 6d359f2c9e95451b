#include "Platform/WebSocket/NetworkThread.h"

#include "Foundation/WakeUpPreemption.h"

#include <QDeadlineTimer>
#include <QString>

namespace tandrel {

namespace {

/// The thread itself never waits for anything.
constexpr int endLimitMs = 1000;

} // namespace

NetworkThread::NetworkThread()
    : thread_(std::make_unique<QThread>())
    , table_(std::make_unique<ConnectionTable>())
    , mailbox_(std::make_shared<NetworkMailbox>(*table_)) {
    thread_->setObjectName(QStringLiteral("network"));
    table_->moveToThread(thread_.get());
    // The sound's thread hands over a message just before it waits.
    QObject::connect(thread_.get(), &QThread::started, renounceWakeUpPreemption);
    thread_->start();
}

NetworkThread::~NetworkThread() {
    // The table ends on its own thread, where its sockets and timers live.
    mailbox_->close([thread = thread_.get()](ConnectionTable& table) {
        table.deleteLater();
        QObject::connect(&table, &QObject::destroyed, thread, &QThread::quit, Qt::DirectConnection);
    });
    (void)table_.release();
    if (!thread_->wait(QDeadlineTimer(endLimitMs))) {
        // Stuck in the system: destroying a running QThread would abort the program, so it is left
        // to the end of the process.
        (void)thread_.release();
    }
}

} // namespace tandrel
