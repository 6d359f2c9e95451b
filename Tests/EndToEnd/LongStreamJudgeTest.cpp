#include "EndToEnd/LongStreamJudge.h"

#include "Support/CountedSound.h"

#include <gmock/gmock.h>

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace tandrel::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::size_t framesPerMessage = 1024;
constexpr std::int64_t nanosecondsPerMessage = 64'000'000;

/// A stream of 100 messages on each of two connections. The first is lost after message 100, of
/// which the last three do not arrive; for 50 more there is no connection.
class TwoConnections : public testing::Test {
protected:
    TwoConnections() {
        for (std::size_t number = 0; number < 250; ++number) {
            if (number >= 100 && number < 150) {
                continue;
            }
            const std::uint32_t connection = number < 100 ? 1 : 2;
            const MessageRecord message{framesPerMessage * 2,
                                        static_cast<std::int64_t>(number) * nanosecondsPerMessage,
                                        number + 1, connection};
            sent.push_back(message);
            if (number < 97 || number >= 150) {
                arrive(message);
            }
        }
        disturbances.push_back(
            {"reset", false, true, 97 * nanosecondsPerMessage, 151 * nanosecondsPerMessage});
    }

    void arrive(const MessageRecord& message) {
        arrived.push_back(message);
        for (std::size_t frame = 0; frame < framesPerMessage; ++frame) {
            samples.push_back(CountedSound::frame((message.hash - 1) * framesPerMessage + frame));
        }
    }
    /// Without message `index` of those that arrived.
    void drop(std::size_t index) {
        const auto at = static_cast<std::ptrdiff_t>(index);
        arrived.erase(arrived.begin() + at);
        samples.erase(samples.begin() + at * static_cast<std::ptrdiff_t>(framesPerMessage),
                      samples.begin() + (at + 1) * static_cast<std::ptrdiff_t>(framesPerMessage));
    }
    [[nodiscard]] std::vector<std::string> faults() const {
        return judgeLongStream(sent, arrived, samples, disturbances).faults;
    }

    std::vector<MessageRecord> sent;
    std::vector<MessageRecord> arrived;
    std::vector<std::int16_t> samples;
    std::vector<Disturbance> disturbances;
};

TEST_F(TwoConnections, AreInOrderWhenOnlyTheConnectionsLossHasCostSound) {
    const LongStreamVerdict verdict = judgeLongStream(sent, arrived, samples, disturbances);
    EXPECT_THAT(verdict.faults, IsEmpty());
    EXPECT_EQ(verdict.messagesSent, 200U);
    EXPECT_EQ(verdict.messagesArrived, 197U);
    EXPECT_EQ(verdict.connections, 2U);
    EXPECT_EQ(verdict.gaps, 1U);
    // The first frame is as silent as what comes before it.
    EXPECT_EQ(verdict.frames, 197 * framesPerMessage - 1);
}

TEST_F(TwoConnections, AMessageThatIsLostInTheMiddleIsAFault) {
    drop(120);
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("message 23 is not the one"),
                                      HasSubstr("sound is missing: frame 178176 in place of "
                                                "177152")));
}

TEST_F(TwoConnections, AMessageThatComesTwiceIsAFault) {
    const MessageRecord message = arrived[196];
    arrive(message);
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("message 100 is not the one"),
                                      HasSubstr("sound came twice or late")));
}

TEST_F(TwoConnections, AMessageThatIsMissingAtTheEndIsAFault) {
    drop(196);
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("1 messages of the connection that was closed in "
                                                "order did not arrive")));
}

TEST_F(TwoConnections, ALossForNoReasonIsAFault) {
    disturbances.clear();
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("a connection was lost for no reason"),
                                      HasSubstr("sound is missing")));
}

TEST_F(TwoConnections, AFrameThatNobodyHandedOverIsAFault) {
    // The program itself lost a frame before it made a message of it: both records agree.
    samples.erase(samples.begin() + 20 * framesPerMessage);
    samples.push_back(0);
    EXPECT_THAT(faults(), testing::Contains(HasSubstr("sound is missing: frame 20481 in place of "
                                                      "20480")));
}

TEST_F(TwoConnections, SoundThatIsHeldBackAfterTheReconnectionIsAFault) {
    // The first second of the new connection was never handed over.
    for (int count = 0; count < 16; ++count) {
        drop(97);
    }
    sent.erase(sent.begin() + 100, sent.begin() + 116);
    for (MessageRecord& message : sent) {
        message.nanoseconds -= message.connection == 2 ? 16 * nanosecondsPerMessage : 0;
    }
    for (MessageRecord& message : arrived) {
        message.nanoseconds -= message.connection == 2 ? 16 * nanosecondsPerMessage : 0;
    }
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("between two connections")));
}

TEST_F(TwoConnections, WhatAnotherListenerMissedAsWellIsTheServersLoss) {
    sent.erase(sent.begin() + 120);
    drop(117);
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("sound is missing")));
    // Its own buffers begin and end elsewhere.
    const std::uint64_t begin = 170 * framesPerMessage;
    const auto verdict =
        judgeLongStream(sent, arrived, samples, disturbances, {{begin + 500, begin + 600}});
    EXPECT_THAT(verdict.faults, IsEmpty());
    EXPECT_EQ(verdict.serversGaps, 1U);
    EXPECT_FALSE(judgeLongStream(sent, arrived, samples, disturbances,
                                 {{begin - 5000, begin}, {begin + framesPerMessage, begin + 5000}})
                     .faults.empty());
}

TEST_F(TwoConnections, AMicrophoneThatWasAwayMayCostSoundAndNothingElse) {
    sent.erase(sent.begin() + 120, sent.begin() + 140);
    for (int count = 0; count < 20; ++count) {
        drop(117);
    }
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("sound is missing")));
    disturbances.push_back(
        {"unplugged", true, false, 165 * nanosecondsPerMessage, 195 * nanosecondsPerMessage});
    EXPECT_THAT(faults(), IsEmpty());
}

TEST(Growth, IsTheSlopeThroughAllValues) {
    const std::array hours{0.0, 0.25, 0.5, 0.75, 1.0};
    EXPECT_NEAR(growthPerHour(hours, std::array{7.0, 8.0, 9.0, 10.0, 11.0}), 4.0, 1e-9);
    EXPECT_NEAR(growthPerHour(hours, std::array{5.0, 9.0, 5.0, 9.0, 5.0}), 0.0, 1e-9);
}

} // namespace
} // namespace tandrel::test
