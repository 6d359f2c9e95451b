#include "Platform/WebSocket/FrameCodec.h"

#include "Foundation/Utf8.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace tandrel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::size_t limit = 1'048'576;

std::string frame(unsigned firstByte, const std::string& payload) {
    std::string bytes(1, static_cast<char>(firstByte));
    if (payload.size() < 126) {
        bytes += static_cast<char>(payload.size());
    } else {
        bytes += '\x7e';
        bytes += static_cast<char>(payload.size() >> 8U);
        bytes += static_cast<char>(payload.size() & 0xffU);
    }
    return bytes + payload;
}

/// A client's frame with its mask taken off: the mask is random.
std::string unmasked(std::string bytes) {
    std::string plain;
    while (bytes.size() >= 6) {
        auto length = static_cast<unsigned char>(bytes[1]) & 0x7fU;
        std::size_t at = 2;
        if (length == 126) {
            length =
                static_cast<unsigned char>(bytes[2]) * 256U + static_cast<unsigned char>(bytes[3]);
            at = 4;
        }
        EXPECT_NE(static_cast<unsigned char>(bytes[1]) & 0x80U, 0U) << "not masked";
        plain += bytes[0];
        for (std::size_t index = 0; index < length; ++index) {
            plain += static_cast<char>(bytes[at + 4 + index] ^ bytes[at + index % 4]);
        }
        bytes.erase(0, at + 4 + length);
    }
    return plain;
}

/// Everything that a sequence of bytes leads to.
struct Outcome {
    std::vector<std::string> events;
    std::string answers;
    int closeCode = 0;
    bool closed = false;
    bool violated = false;
    friend bool operator==(const Outcome&, const Outcome&) = default;
};

void feed(FrameCodec& codec, std::string_view bytes, Outcome& outcome) {
    for (const FrameCodec::Event& event : codec.receive(bytes)) {
        if (const auto* message = std::get_if<SocketMessage>(&event)) {
            outcome.events.push_back(
                (message->kind == SocketMessage::Kind::text ? "text " : "binary ") +
                message->payload);
        } else {
            outcome.events.push_back("pong " + std::get<FrameCodec::Pong>(event).payload);
        }
    }
    outcome.answers += unmasked(codec.takeOutput());
    outcome.closeCode = codec.closeCode();
    outcome.closed = codec.hasReceivedClose();
    outcome.violated = codec.isViolated();
}

TEST(FrameCodec, MasksEveryFrameAfresh) {
    FrameCodec codec(limit);
    const Bytes payload = {1, 2, 3, 4, 5};
    codec.queueBinary(payload);
    const std::string first = codec.takeOutput();
    codec.queueBinary(payload);
    const std::string second = codec.takeOutput();
    EXPECT_EQ(unmasked(first), "\x82\x01\x02\x03\x04\x05");
    EXPECT_EQ(unmasked(second), unmasked(first));
    EXPECT_NE(first, second);
}

TEST(FrameCodec, QueuesPingsAndOneCloseWithNothingBehind) {
    FrameCodec codec(limit);
    codec.queuePing("1");
    codec.queueClose(1000);
    codec.queueClose(1001);
    codec.queuePing("2");
    EXPECT_EQ(unmasked(codec.takeOutput()), "\x89"
                                            "1\x88\x03\xe8");
    codec.queueBinary(Bytes{1});
    EXPECT_EQ(codec.takeOutput(), "");
    EXPECT_FALSE(codec.isViolated());
}

TEST(FrameCodec, ReadsOnAfterItsOwnCloseUntilTheEcho) {
    FrameCodec codec(limit);
    codec.queueClose(1000);
    (void)codec.takeOutput();
    EXPECT_THAT(codec.receive(frame(0x82, "late")), SizeIs(1));
    EXPECT_FALSE(codec.hasReceivedClose());
    (void)codec.receive(frame(0x89, "ping"));
    EXPECT_EQ(codec.takeOutput(), "") << "no pong behind a close";
    (void)codec.receive(frame(0x88, "\x03\xe8"));
    EXPECT_TRUE(codec.hasReceivedClose());
    EXPECT_EQ(codec.closeCode(), 1000);
}

TEST(FrameCodec, KnowsTheCloseCodesThatAServerMaySend) {
    for (const int code :
         {1000, 1001, 1002, 1003, 1007, 1011, 1012, 1013, 1014, 3000, 4001, 4999}) {
        FrameCodec codec(limit);
        (void)codec.receive(frame(
            0x88, {static_cast<char>(code / 256), static_cast<char>(code % 256), 'w', 'h', 'y'}));
        EXPECT_EQ(codec.closeCode(), code);
        EXPECT_TRUE(codec.hasReceivedClose()) << code;
        EXPECT_FALSE(codec.isViolated()) << code;
    }
    for (const int code : {0, 999, 1004, 1005, 1006, 1015, 2999, 5000, 65535}) {
        FrameCodec codec(limit);
        (void)codec.receive(
            frame(0x88, {static_cast<char>(code / 256), static_cast<char>(code % 256)}));
        EXPECT_EQ(codec.closeCode(), 0);
        EXPECT_TRUE(codec.isViolated()) << code;
    }
}

TEST(FrameCodec, IgnoresWhatComesBehindTheClose) {
    FrameCodec codec(limit);
    const auto events =
        codec.receive(frame(0x81, "before") + frame(0x88, "\x0f\xa1") + frame(0x81, "behind"));
    EXPECT_THAT(events, SizeIs(1));
    EXPECT_EQ(codec.closeCode(), 4001);
}

class FrameCodecClose : public testing::TestWithParam<int> {};

TEST_P(FrameCodecClose, IsJudgedByItsReasonTooHoweverTheyAreCut) {
    const int code = GetParam();
    for (const char* const reason :
         {"za\xc3\xa4yz", "\xe2\x82\xac\xe2\x82\xac", "a\xff", "\xc3", "abc\xe2\x82"}) {
        const bool isText = isValidUtf8(reason);
        const std::string bytes =
            frame(0x88, std::string{static_cast<char>(code / 256), static_cast<char>(code % 256)} +
                            reason);
        for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
            FrameCodec codec(limit);
            (void)codec.receive(bytes.substr(0, cut));
            EXPECT_EQ(codec.hasReceivedClose(), isText && cut == bytes.size()) << cut;
            (void)codec.receive(bytes.substr(cut));
            EXPECT_EQ(codec.hasReceivedClose(), isText) << reason << " cut at " << cut;
            EXPECT_EQ(codec.closeCode(), isText ? code : 0) << reason << " cut at " << cut;
            EXPECT_EQ(codec.isViolated(), !isText) << reason << " cut at " << cut;
        }
    }
}

// The library knows the one and refuses the other, which is younger than its standard.
INSTANTIATE_TEST_SUITE_P(Codes, FrameCodecClose, testing::Values(4001, 1012),
                         testing::PrintToStringParamName());

TEST(FrameCodec, BoundsAMessageOfManyFragments) {
    FrameCodec codec(1000);
    Outcome outcome;
    feed(codec, frame(0x02, std::string(600, 'x')), outcome);
    EXPECT_FALSE(outcome.violated);
    feed(codec, frame(0x80, std::string(401, 'x')), outcome);
    EXPECT_TRUE(outcome.violated);
    EXPECT_THAT(outcome.events, IsEmpty());
    EXPECT_EQ(outcome.answers, "\x88\x03\xf1") << "1009";
}

TEST(FrameCodec, TakesAMessageOfManyTinyFragments) {
    FrameCodec codec(limit);
    Outcome outcome;
    std::string bytes = frame(0x01, "");
    for (int count = 0; count < 100'000; ++count) {
        bytes += frame(0x00, count % 2 == 0 ? "x" : "");
    }
    bytes += frame(0x80, "");
    feed(codec, bytes, outcome);
    ASSERT_THAT(outcome.events, SizeIs(1));
    EXPECT_EQ(outcome.events.front(), "text " + std::string(50'000, 'x'));
}

/// Frames as a server might send them, most of them valid, with damage now and then.
std::string randomTraffic(std::mt19937& random, std::size_t size) {
    static constexpr std::array<unsigned, 14> firstBytes = {
        0x81, 0x82, 0x82, 0x01, 0x02, 0x00, 0x80, 0x89, 0x8a, 0x8a, 0x88, 0xc1, 0x83, 0x0b};
    std::string bytes;
    while (bytes.size() < size) {
        const bool mostlyValid = random() % 50 != 0;
        const unsigned first = firstBytes[random() % (mostlyValid ? 10 : firstBytes.size())];
        std::string payload(random() % (random() % 20 == 0 ? 3000 : 100), 'u');
        if (random() % 10 == 0) {
            for (char& byte : payload) {
                byte = static_cast<char>(random());
            }
        } else if (payload.size() >= 3) {
            payload.replace(payload.size() / 2, 2, "\xc3\xa9");
        }
        bytes += frame(first, payload);
        if (random() % 200 == 0) {
            bytes[random() % bytes.size()] = static_cast<char>(random());
        }
    }
    return bytes;
}

std::size_t randomMegabytes() {
    const char* wanted = std::getenv("TANDREL_RANDOM_MEGABYTES");
    return wanted == nullptr ? 4 : static_cast<std::size_t>(std::strtoul(wanted, nullptr, 10));
}

/// 4 MB here; TANDREL_RANDOM_MEGABYTES asks for more.
TEST(FrameCodec, ComesToTheSameResultWholeOrInPieces) {
    std::mt19937 random(20261120);
    const std::size_t wanted = randomMegabytes() * 1'000'000;
    std::size_t fed = 0;
    int runs = 0;
    int violations = 0;
    std::size_t events = 0;
    for (; fed < wanted; ++runs) {
        std::string bytes;
        if (runs % 2 == 0) {
            bytes += randomTraffic(random, 20'000);
        } else {
            bytes.resize(20'000);
            for (char& byte : bytes) {
                byte = static_cast<char>(random());
            }
        }
        FrameCodec whole(limit);
        Outcome wholeOutcome;
        feed(whole, bytes, wholeOutcome);
        FrameCodec pieces(limit);
        Outcome piecesOutcome;
        for (std::size_t at = 0; at < bytes.size();) {
            const std::size_t size = random() % 11 == 0 ? random() % 5000 : random() % 9;
            feed(pieces, std::string_view(bytes).substr(at, size), piecesOutcome);
            at += size;
        }
        ASSERT_TRUE(wholeOutcome == piecesOutcome) << "run " << runs;
        fed += bytes.size();
        violations += wholeOutcome.violated ? 1 : 0;
        events += wholeOutcome.events.size();
    }
    std::printf("%zu MB of random bytes in %d connections: %zu messages and pongs, %d violations\n",
                fed / 1'000'000, runs, events, violations);
    EXPECT_GT(events, 0U);
    EXPECT_GT(violations, 0);
}

} // namespace
} // namespace tandrel
