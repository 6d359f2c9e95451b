#pragma once

#include "Foundation/Handle.h"
#include "Foundation/SerialWorker.h"

#include <chrono>
#include <functional>
#include <memory>

namespace tandrel {

class MainQueue;
class MainQueuePort;

/// Looks for something again and again, on a thread of its own, until it is there. Ending the
/// operation does not wait for a look that is under way. Main thread.
class RepeatedLook : public Operation {
public:
    /// Whether it is there. Called on the thread, and destroyed there; may block for as long as it
    /// pleases, and must not throw.
    using Look = std::function<bool()>;

    /// Looks at once, then `interval` after each look that found nothing; `found` is called once,
    /// on the main thread. The queue must live until this operation ends.
    RepeatedLook(MainQueue& mainQueue, std::chrono::milliseconds interval, Look look,
                 std::function<void()> found);
    ~RepeatedLook() override;

private:
    struct Pause;
    struct Completion;

    // Shared with a look that may outlive this operation.
    std::shared_ptr<Pause> pause_;
    std::shared_ptr<MainQueuePort> mainQueue_;
    /// The main thread's alone; gone with this operation, and with it a completion on its way.
    std::shared_ptr<Completion> completion_;
    SerialWorker worker_;
};

} // namespace tandrel
