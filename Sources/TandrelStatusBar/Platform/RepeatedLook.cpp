#include "Platform/RepeatedLook.h"

#include "Platform/MainQueuePort.h"

#include <condition_variable>
#include <mutex>
#include <utility>

namespace tandrel {

/// The wait between two looks, which the end of the operation cuts short.
struct RepeatedLook::Pause {
    /// Whether there is to be another look.
    bool wait(std::chrono::milliseconds duration) {
        std::unique_lock lock(mutex);
        return !ended.wait_for(lock, duration, [this] { return isEnded; });
    }
    void end() {
        const std::lock_guard lock(mutex);
        isEnded = true;
        ended.notify_all();
    }

    std::mutex mutex;
    std::condition_variable ended;
    bool isEnded = false;
};

struct RepeatedLook::Completion {
    std::function<void()> found;
};

RepeatedLook::RepeatedLook(MainQueue& mainQueue, std::chrono::milliseconds interval, Look look,
                           std::function<void()> found)
    : pause_(std::make_shared<Pause>())
    , mainQueue_(std::make_shared<MainQueuePort>(mainQueue))
    , completion_(std::make_shared<Completion>(Completion{std::move(found)})) {
    worker_.post([look = std::move(look), interval, pause = pause_, queue = mainQueue_,
                  weak = std::weak_ptr(completion_)] {
        while (!look()) {
            if (!pause->wait(interval)) {
                return;
            }
        }
        queue->post([weak] {
            if (const auto completion = weak.lock()) {
                // Out of its place first: it may end this operation.
                const auto tell = std::exchange(completion->found, nullptr);
                tell();
            }
        });
    });
}

RepeatedLook::~RepeatedLook() {
    mainQueue_->close();
    pause_->end();
}

} // namespace tandrel
