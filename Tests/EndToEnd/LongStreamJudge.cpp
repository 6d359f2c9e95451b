#include "EndToEnd/LongStreamJudge.h"

#include "Support/CountedSound.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

namespace tandrel::test {

namespace {

constexpr std::size_t faultsShown = 5;
constexpr double framesPerSecond = 16000;
/// How far the length of a gap may be from its duration: a busy machine hands sound over late.
constexpr double gapTolerance = 0.75 * framesPerSecond;

/// The messages of one connection, which follow each other.
using Connection = std::span<const MessageRecord>;

std::vector<Connection> connectionsOf(const std::vector<MessageRecord>& messages) {
    std::vector<Connection> connections;
    for (std::size_t begin = 0; begin < messages.size();) {
        std::size_t end = begin;
        while (end < messages.size() && messages[end].connection == messages[begin].connection) {
            ++end;
        }
        connections.push_back(std::span(messages).subspan(begin, end - begin));
        begin = end;
    }
    return connections;
}

class Judge {
public:
    Judge(const std::vector<Disturbance>& disturbances, const std::vector<Gap>& witnessed)
        : disturbances_(disturbances)
        , witnessed_(witnessed) {}

    void compare(const std::vector<MessageRecord>& sent,
                 const std::vector<MessageRecord>& arrived) {
        const auto handedOver = connectionsOf(sent);
        auto candidate = handedOver.begin();
        for (const Connection& connection : connectionsOf(arrived)) {
            candidate = std::find_if(candidate, handedOver.end(), [&](const auto& each) {
                return each.front().hash == connection.front().hash;
            });
            if (candidate == handedOver.end()) {
                fault("connection " + number(connection.front().connection) +
                      " begins with what was not handed over to one after those before it");
                return;
            }
            ++verdict.connections;
            compare(*candidate, connection, candidate + 1 == handedOver.end());
            pairs_.push_back({*candidate, connection});
            ++candidate;
        }
        if (candidate != handedOver.end()) {
            fault("the last connection delivered nothing");
        }
    }

    void listen(const std::vector<MessageRecord>& arrived, std::span<const std::int16_t> samples) {
        CountedSoundReader reader;
        const MessageRecord* previous = nullptr;
        std::size_t pair = 0;
        for (const MessageRecord& message : arrived) {
            const std::size_t frames = message.bytes / sizeof(std::int16_t);
            if (frames > samples.size()) {
                fault("there are fewer samples than the messages say");
                return;
            }
            const bool isNew = previous != nullptr && message.connection != previous->connection;
            if (isNew) {
                ++pair;
                if (const Disturbance* const cause = causeOf(message);
                    cause == nullptr || !cause->costsConnection) {
                    fault("a connection was lost for no reason" + at(message));
                }
            }
            if (const auto found = reader.read(samples.first(frames)); found && found->expected) {
                judge({*found->expected, found->found}, message, isNew ? pair : 0);
            }
            samples = samples.subspan(frames);
            previous = &message;
        }
        verdict.frames = reader.heard();
        verdict.silence = reader.silence();
        verdict.gaps = reader.breaks() - (reader.breaks() > 0 ? 1 : 0);
    }

    LongStreamVerdict verdict;

private:
    struct Pair {
        Connection sent;
        Connection arrived;
    };
    static std::string number(std::uint64_t value) { return std::to_string(value); }

    void fault(std::string text) {
        if (verdict.faults.size() < faultsShown) {
            verdict.faults.push_back(std::move(text));
        }
    }

    const Disturbance* causeOf(const MessageRecord& message) const {
        const auto found = std::ranges::find_if(disturbances_, [&](const Disturbance& each) {
            return each.begin <= message.nanoseconds && message.nanoseconds <= each.end;
        });
        return found == disturbances_.end() ? nullptr : &*found;
    }

    std::string at(const MessageRecord& message) const {
        const Disturbance* const cause = causeOf(message);
        return " (connection " + number(message.connection) + ", " +
               (cause != nullptr ? "during: " + cause->name : "in no disturbance") + ")";
    }

    void compare(Connection sent, Connection arrived, bool isLast) {
        const auto [handed, came] =
            std::ranges::mismatch(sent, arrived, [](const auto& left, const auto& right) {
                return left.hash == right.hash;
            });
        if (came != arrived.end()) {
            fault("message " + number(static_cast<std::uint64_t>(came - arrived.begin())) +
                  " is not the one that was handed over" + at(*came));
        } else if (isLast && arrived.size() < sent.size()) {
            fault(number(sent.size() - arrived.size()) +
                  " messages of the connection that was closed in order did not arrive");
        }
    }

    /// `pair`: which connection it is that begins with the gap, 0 when none does.
    void judge(const Gap& gap, const MessageRecord& message, std::size_t pair) {
        const std::string where =
            ": frame " + number(gap.found) + " in place of " + number(gap.expected) + at(message);
        if (gap.found < gap.expected) {
            fault("sound came twice or late" + where);
            return;
        }
        const Disturbance* const cause = causeOf(message);
        if (cause != nullptr && cause->costsSound) {
            return;
        }
        if (pair == 0 && std::ranges::any_of(witnessed_, [&gap](const Gap& each) {
                return each.expected < gap.found && gap.expected < each.found;
            })) {
            ++verdict.serversGaps;
            return;
        }
        if (cause == nullptr || !cause->costsConnection || pair == 0 || pair >= pairs_.size()) {
            fault("sound is missing" + where);
            return;
        }
        // What was handed to the old connection and never arrived, and what was captured while
        // there was none, and no more.
        const Pair& before = pairs_[pair - 1];
        std::uint64_t lost = 0;
        for (const MessageRecord& each : before.sent.subspan(before.arrived.size())) {
            lost += each.bytes / sizeof(std::int16_t);
        }
        const double apart = static_cast<double>(pairs_[pair].sent.front().nanoseconds -
                                                 before.sent.back().nanoseconds) /
                             1e9 * framesPerSecond;
        const double missing = static_cast<double>(gap.found - gap.expected - lost);
        if (gap.found - gap.expected < lost || std::abs(missing - apart) > gapTolerance) {
            fault("between two connections " + number(gap.found - gap.expected) +
                  " frames are missing, of which " + number(lost) + " did not arrive; they were " +
                  number(static_cast<std::uint64_t>(std::max(apart, 0.0))) + " frames apart" +
                  where);
        }
    }

    const std::vector<Disturbance>& disturbances_;
    const std::vector<Gap>& witnessed_;
    std::vector<Pair> pairs_;
};

} // namespace

LongStreamVerdict judgeLongStream(const std::vector<MessageRecord>& sent,
                                  const std::vector<MessageRecord>& arrived,
                                  std::span<const std::int16_t> samples,
                                  const std::vector<Disturbance>& disturbances,
                                  const std::vector<Gap>& witnessed) {
    Judge judge(disturbances, witnessed);
    judge.verdict.messagesSent = sent.size();
    judge.verdict.messagesArrived = arrived.size();
    judge.compare(sent, arrived);
    judge.listen(arrived, samples);
    return std::move(judge.verdict);
}

double growthPerHour(std::span<const double> hours, std::span<const double> values) {
    double meanHour = 0;
    double meanValue = 0;
    const auto count = static_cast<double>(hours.size());
    for (std::size_t index = 0; index < hours.size(); ++index) {
        meanHour += hours[index] / count;
        meanValue += values[index] / count;
    }
    double covariance = 0;
    double variance = 0;
    for (std::size_t index = 0; index < hours.size(); ++index) {
        covariance += (hours[index] - meanHour) * (values[index] - meanValue);
        variance += (hours[index] - meanHour) * (hours[index] - meanHour);
    }
    return variance > 0 ? covariance / variance : 0;
}

} // namespace tandrel::test
