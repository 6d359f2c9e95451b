#include "Support/Qt/EventLoop.h"

#include "Support/WaitUntil.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEvent>
#include <QTimer>

namespace tandrel::test {

bool runUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    const QDeadlineTimer deadline(stretched(limit));
    // Wakes the loop, should the condition depend on more than its events.
    QTimer wake;
    wake.start(std::chrono::milliseconds(20));
    while (!condition()) {
        if (deadline.hasExpired()) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        // Without a running loop these would wait for one.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}

} // namespace tandrel::test
