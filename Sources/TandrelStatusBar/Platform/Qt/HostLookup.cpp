#include "Platform/Qt/HostLookup.h"

#include <QHostAddress>
#include <QMetaObject>

#include <mutex>
#include <thread>
#include <utility>

namespace tandrel {

void renewRememberedAddress(const QString& name) {
    if (QHostAddress(name).isNull()) {
        std::thread([name] { static_cast<void>(QHostInfo::fromName(name)); }).detach();
    }
}

/// Where the thread leaves its answer, which may come after the look-up has gone.
struct HostLookup::Mailbox {
    std::mutex mutex;
    /// Null once nobody collects any more.
    HostLookup* owner = nullptr;

    void put(const QHostInfo& answer) {
        const std::lock_guard lock(mutex);
        if (owner != nullptr) {
            HostLookup* const lookup = owner;
            QMetaObject::invokeMethod(
                &lookup->receiver_, [lookup, answer] { lookup->completion_(answer); },
                Qt::QueuedConnection);
        }
    }
};

HostLookup::HostLookup(const QString& name, Completion completion)
    : completion_(std::move(completion))
    , mailbox_(std::make_shared<Mailbox>()) {
    mailbox_->owner = this;
    std::thread([name, mailbox = mailbox_] { mailbox->put(QHostInfo::fromName(name)); }).detach();
}

HostLookup::~HostLookup() {
    const std::lock_guard lock(mailbox_->mutex);
    mailbox_->owner = nullptr;
}

} // namespace tandrel
