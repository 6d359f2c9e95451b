#pragma once

#include "Foundation/InlineFunction.h"

namespace tandrel {

/// Work for the main thread, from any thread.
class MainQueue {
public:
    /// Work that is handed on from each buffer of sound: small captures take no allocation.
    using Action = InlineFunction<void()>;

    MainQueue() = default;
    MainQueue(const MainQueue&) = delete;
    MainQueue& operator=(const MainQueue&) = delete;
    virtual ~MainQueue() = default;

    /// Runs `action` on the main thread, later, in the order of the calls of each thread. Never
    /// blocks beyond a short lock. The action must guard itself against what has gone meanwhile.
    virtual void post(Action action) = 0;

    /// Like `post`, in the same order, but not worth waking the main thread for: runs before the
    /// next action that is, or once many wait.
    virtual void postWithoutWaking(Action action) = 0;
};

} // namespace tandrel
