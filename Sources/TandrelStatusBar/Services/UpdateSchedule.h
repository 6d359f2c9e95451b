#pragma once

#include "Foundation/Handle.h"
#include "Platform/Clock.h"
#include "Services/UpdatePreferences.h"

#include <chrono>
#include <functional>

namespace tandrel {

/// When to look for updates in the background: once a day, if the user agreed, who is asked at the
/// second start. The first look comes a minute after the start. What counts is the date of the last
/// check by the calendar clock, looked at every three hours: a suspended or corrected clock neither
/// keeps a check away nor makes two. Main thread.
class UpdateSchedule {
public:
    static constexpr std::chrono::minutes firstLook{1};
    static constexpr std::chrono::hours lookInterval{3};
    static constexpr std::chrono::hours checkInterval{24};

    using Now = std::function<UpdatePreferences::TimePoint()>;

    struct Actions {
        /// Asked for at each look, and not before the first: it may load the settings.
        std::function<UpdatePreferences()> preferences;
        /// Ask the user whether to check daily.
        std::function<void()> ask;
        /// Check in the background.
        std::function<void()> check;
    };

    /// The clock must outlive the schedule.
    UpdateSchedule(Clock& clock, Now now, Actions actions);

    /// Begins; the program has just started.
    void start();
    /// The user's answer has changed.
    void answerChanged();

private:
    void lookAfter(Clock::Duration delay);
    void look();
    [[nodiscard]] bool isDue(const UpdatePreferences& preferences) const;

    Clock& clock_;
    Now now_;
    Actions actions_;
    bool isFirstLook_ = true;
    Handle next_;
};

} // namespace tandrel
