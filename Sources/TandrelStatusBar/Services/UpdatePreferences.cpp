#include "Services/UpdatePreferences.h"

#include "Platform/UserDefaults.h"

#include <charconv>
#include <cstdint>
#include <string_view>

namespace tandrel {

namespace {

constexpr std::string_view checksDailyKey = "updates.checksDaily";
constexpr std::string_view hasStartedKey = "updates.hasStarted";
constexpr std::string_view lastCheckKey = "updates.lastCheck";
constexpr std::string_view skippedVersionKey = "updates.skippedVersion";
constexpr std::string_view yes = "yes";
constexpr std::string_view no = "no";
/// Seconds; a longer time does not fit a time point.
constexpr std::int64_t latest = 9'000'000'000;

} // namespace

UpdatePreferences::UpdatePreferences(UserDefaults& userDefaults)
    : userDefaults_(userDefaults) {}

std::optional<bool> UpdatePreferences::checksDaily() const {
    const auto answer = userDefaults_.data(checksDailyKey);
    return answer == yes || answer == no ? std::optional(answer == yes) : std::nullopt;
}

void UpdatePreferences::setChecksDaily(bool checks) {
    userDefaults_.setData(checksDailyKey, std::string(checks ? yes : no));
}

bool UpdatePreferences::hasStarted() const {
    return userDefaults_.data(hasStartedKey) == yes;
}

void UpdatePreferences::noteStart() {
    userDefaults_.setData(hasStartedKey, std::string(yes));
}

std::optional<UpdatePreferences::TimePoint> UpdatePreferences::lastCheck() const {
    const std::string text = userDefaults_.data(lastCheckKey).value_or(std::string());
    std::int64_t seconds = -1;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (parsed.ec != std::errc() || parsed.ptr != text.data() + text.size() || seconds < 0 ||
        seconds > latest) {
        return std::nullopt;
    }
    return TimePoint(std::chrono::seconds(seconds));
}

void UpdatePreferences::setLastCheck(TimePoint at) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(at.time_since_epoch());
    userDefaults_.setData(lastCheckKey, std::to_string(seconds.count()));
}

std::string UpdatePreferences::skippedVersion() const {
    return userDefaults_.data(skippedVersionKey).value_or(std::string());
}

void UpdatePreferences::setSkippedVersion(const std::string& version) {
    userDefaults_.setData(skippedVersionKey, version);
}

} // namespace tandrel
