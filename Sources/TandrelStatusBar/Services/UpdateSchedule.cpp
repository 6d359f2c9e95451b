#include "Services/UpdateSchedule.h"

#include <utility>

namespace tandrel {

UpdateSchedule::UpdateSchedule(Clock& clock, Now now, Actions actions)
    : clock_(clock)
    , now_(std::move(now))
    , actions_(std::move(actions)) {}

void UpdateSchedule::start() {
    lookAfter(firstLook);
}

void UpdateSchedule::answerChanged() {
    lookAfter(firstLook);
}

void UpdateSchedule::lookAfter(Clock::Duration delay) {
    next_ = clock_.after(delay, [this] { look(); });
}

void UpdateSchedule::look() {
    UpdatePreferences preferences = actions_.preferences();
    const bool isAtStart = std::exchange(isFirstLook_, false);
    const auto answer = preferences.checksDaily();
    if (!answer) {
        if (isAtStart && preferences.hasStarted()) {
            actions_.ask();
        } else {
            preferences.noteStart();
        }
        return;
    }
    if (!*answer) {
        return;
    }
    lookAfter(lookInterval);
    if (isDue(preferences)) {
        actions_.check();
    }
}

bool UpdateSchedule::isDue(const UpdatePreferences& preferences) const {
    const auto last = preferences.lastCheck();
    const auto now = now_();
    // A last check in the future was noted by a clock that was wrong.
    return !last || now < *last || now - *last >= checkInterval;
}

} // namespace tandrel
