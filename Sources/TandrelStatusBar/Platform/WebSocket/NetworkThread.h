#pragma once

#include "Platform/WebSocket/ConnectionTable.h"

#include <QThread>

#include <memory>
#include <mutex>
#include <utility>

namespace tandrel {

/// Takes work to the network thread, and drops it once the thread has gone. Any thread; shared, so
/// that it may outlive the thread.
class NetworkMailbox {
public:
    explicit NetworkMailbox(ConnectionTable& table)
        : table_(&table) {}

    /// Calls `work` with the table on the network thread, later, in the order of the calls. Never
    /// blocks beyond a short lock.
    template <typename Work>
    void post(Work work) {
        const std::lock_guard lock(mutex_);
        postLocked(std::move(work));
    }

    /// As `post` for the last time: everything is dropped from now on.
    template <typename Work>
    void close(Work work) {
        const std::lock_guard lock(mutex_);
        postLocked(std::move(work));
        table_ = nullptr;
    }

private:
    template <typename Work>
    void postLocked(Work work) {
        if (table_ != nullptr) {
            table_->post([table = table_, work = std::move(work)]() mutable { work(*table); });
        }
    }

    std::mutex mutex_;
    ConnectionTable* table_;
};

/// The thread on which all connections live, so that a busy interface never delays audio. Created
/// and destroyed on the main thread; the destructor drops what is still open, in bounded time.
class NetworkThread {
public:
    NetworkThread();
    ~NetworkThread();
    NetworkThread(const NetworkThread&) = delete;
    NetworkThread& operator=(const NetworkThread&) = delete;

    [[nodiscard]] const std::shared_ptr<NetworkMailbox>& mailbox() const { return mailbox_; }

private:
    std::unique_ptr<QThread> thread_;
    std::unique_ptr<ConnectionTable> table_;
    std::shared_ptr<NetworkMailbox> mailbox_;
};

} // namespace tandrel
