#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace tandrel {

class UserDefaults;

/// What is remembered of updates from one run to the next. Main thread.
class UpdatePreferences {
public:
    using TimePoint = std::chrono::system_clock::time_point;

    /// The settings must outlive this.
    explicit UpdatePreferences(UserDefaults& userDefaults);

    /// The user's answer to whether to check daily; nothing while they have not been asked.
    [[nodiscard]] std::optional<bool> checksDaily() const;
    void setChecksDaily(bool checks);

    /// Whether a start was noted before.
    [[nodiscard]] bool hasStarted() const;
    void noteStart();

    /// When a feed was last read, to the second.
    [[nodiscard]] std::optional<TimePoint> lastCheck() const;
    void setLastCheck(TimePoint at);

    /// The version that the user does not want to hear of; empty for none.
    [[nodiscard]] std::string skippedVersion() const;
    void setSkippedVersion(const std::string& version);

private:
    UserDefaults& userDefaults_;
};

} // namespace tandrel
