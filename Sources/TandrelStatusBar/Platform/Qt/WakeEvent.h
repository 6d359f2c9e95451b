#pragma once

#include <QEvent>

#include <cstddef>

namespace tandrel {

/// An event that only says that there is something to do. Qt deletes an event once it is delivered,
/// so a steady flow of them would allocate each one; these take turns in memory that stays. Any
/// thread.
class WakeEvent : public QEvent {
public:
    WakeEvent()
        : QEvent(QEvent::User) {}

    static void* operator new(std::size_t size);
    static void operator delete(void* memory) noexcept;
};

} // namespace tandrel
