#pragma once

#include <QHostInfo>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>

namespace tandrel {

/// Looks a name up in the background, so that what Qt remembers of it for a minute is what is true
/// now.
void renewRememberedAddress(const QString& name);

/// Where a name is found now. Qt's own look-up answers from memory for a minute, which is longer
/// than a lost stream is tried again: a backend that has moved would not be found in time. Runs on
/// a thread of its own, which a slow name server may hold up for as long as it likes.
class HostLookup {
public:
    using Completion = std::function<void(const QHostInfo&)>;

    /// `completion` is called on this thread, once and later, and never after this object has gone.
    HostLookup(const QString& name, Completion completion);
    ~HostLookup();
    HostLookup(const HostLookup&) = delete;
    HostLookup& operator=(const HostLookup&) = delete;

private:
    struct Mailbox;

    Completion completion_;
    QObject receiver_;
    std::shared_ptr<Mailbox> mailbox_;
};

} // namespace tandrel
