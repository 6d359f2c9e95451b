#include "Support/LogJudge.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <string_view>

namespace tandrel::test {

namespace {

constexpr std::size_t faultsShown = 5;

/// Lines of audio: the first five, then each `interval`th.
struct Throttle {
    std::string_view begin;
    std::string_view end;
    std::uint64_t interval;
    std::uint64_t expected = 1;

    /// The number in such a line; nothing when it is another one.
    [[nodiscard]] std::optional<std::uint64_t> numberIn(std::string_view line) const {
        if (!line.starts_with(begin)) {
            return std::nullopt;
        }
        const std::string rest(line.substr(begin.size()));
        char* after = nullptr;
        const std::uint64_t number = std::strtoull(rest.c_str(), &after, 10);
        return std::string_view(after).starts_with(end) ? std::optional(number) : std::nullopt;
    }
    /// Whether `number` is the next that is let through.
    bool take(std::uint64_t number) {
        const bool isNext = number == expected;
        expected = number < 5 ? number + 1 : (number / interval + 1) * interval;
        return isNext;
    }
    [[nodiscard]] bool letsThrough(std::uint64_t number) const {
        return number <= 5 || number % interval == 0;
    }
};

} // namespace

LogVerdict judgeLog(const std::string& log) {
    constexpr std::size_t stampLength = 21;
    std::array<Throttle, 3> throttles{{{"[sendAudioData] #", " state=", 100},
                                       {"[processBuffer] #", " frames=", 200},
                                       {"[audioLevel] #", " rms=", 200}}};
    const Throttle answers{"[sendAudioData] #", " sent OK", 100};
    const Throttle errors{"[sendAudioData] #", " SEND ERROR: ", 1};
    LogVerdict verdict;
    verdict.bytes = log.size();
    std::istringstream text(log);
    for (std::string whole; std::getline(text, whole);) {
        ++verdict.lines;
        const std::string_view line =
            std::string_view(whole).substr(std::min(stampLength, whole.size()));
        bool isThrottled = line.starts_with("[processBuffer] sending ");
        for (Throttle& throttle : throttles) {
            if (const auto number = throttle.numberIn(line)) {
                isThrottled = true;
                if (!throttle.take(*number) && verdict.faults.size() < faultsShown) {
                    verdict.faults.push_back("not the next that the throttle lets through: " +
                                             whole);
                }
            }
        }
        if (const auto number = answers.numberIn(line)) {
            isThrottled = true;
            if (!answers.letsThrough(*number) && verdict.faults.size() < faultsShown) {
                verdict.faults.push_back("the throttle does not let through: " + whole);
            }
        }
        if (errors.numberIn(line)) {
            ++verdict.sendErrors;
        } else {
            ++(isThrottled ? verdict.throttledLines : verdict.eventLines);
        }
    }
    return verdict;
}

} // namespace tandrel::test
