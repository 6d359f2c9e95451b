// A server's bytes behind the upgrade, whole and in pieces; and what the client sends.
#include "Harness/Chance.h"
#include "Harness/Check.h"
#include "Harness/FrameReference.h"
#include "Platform/WebSocket/FrameCodec.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tandrel::fuzz {
namespace {

constexpr unsigned binary = 2;
constexpr unsigned closing = 8;
constexpr unsigned pong = 10;

/// Everything that a sequence of bytes leads to.
struct Outcome {
    std::vector<std::string> events;
    std::vector<std::string> pongs;
    bool hasAnsweredClose = false;
    bool isViolated = false;
    bool isClosed = false;
    int closeCode = 0;
    friend bool operator==(const Outcome&, const Outcome&) = default;
};

std::string textOf(const FrameCodec::Event& event) {
    if (const auto* const message = std::get_if<SocketMessage>(&event)) {
        return (message->kind == SocketMessage::Kind::text ? "text " : "binary ") +
               message->payload;
    }
    return "pong " + std::get<FrameCodec::Pong>(event).payload;
}

/// A client's frame is whole, masked and as short as it can be.
Frame takeOwnFrame(std::string_view& bytes) {
    const auto frame = takeFrame(bytes);
    FUZZ_EXPECT(frame && frame->isWhole());
    FUZZ_EXPECT(frame->isFinal && frame->isMasked && frame->reserved == 0);
    FUZZ_EXPECT(frame->hasShortestLength && (!frame->isControl() || frame->length <= 125));
    return *frame;
}

void takeAnswers(FrameCodec& codec, Outcome& outcome) {
    const std::string output = codec.takeOutput();
    for (std::string_view bytes = output; !bytes.empty();) {
        FUZZ_EXPECT(!outcome.hasAnsweredClose); // nothing follows a close frame
        const Frame frame = takeOwnFrame(bytes);
        FUZZ_EXPECT(frame.opcode == pong || frame.opcode == closing);
        if (frame.opcode == pong) {
            outcome.pongs.push_back(frame.payload);
        } else {
            outcome.hasAnsweredClose = true;
            FUZZ_EXPECT(frame.payload.size() != 1);
        }
    }
}

Outcome outcomeOf(const std::vector<std::string_view>& pieces, std::size_t limit) {
    FrameCodec codec(limit);
    Outcome outcome;
    for (const std::string_view piece : pieces) {
        for (const FrameCodec::Event& event : codec.receive(piece)) {
            outcome.events.push_back(textOf(event));
        }
        takeAnswers(codec, outcome);
        // A close and a violation are final, and exclude each other.
        FUZZ_EXPECT(codec.isViolated() || !outcome.isViolated);
        FUZZ_EXPECT(codec.hasReceivedClose() || !outcome.isClosed);
        outcome.isViolated = codec.isViolated();
        outcome.isClosed = codec.hasReceivedClose();
        outcome.closeCode = codec.closeCode();
        FUZZ_EXPECT(!outcome.isViolated || !outcome.isClosed);
    }
    return outcome;
}

void checkIncoming(std::string_view bytes, std::size_t limit, Chance& chance) {
    const Outcome whole = outcomeOf({bytes}, limit);
    FUZZ_EXPECT(outcomeOf(inPieces(bytes, chance), limit) == whole);
    FUZZ_EXPECT(outcomeOf(byteByByte(bytes), limit) == whole);

    const ServerBytes expected(bytes, limit);
    FUZZ_EXPECT(whole.events == expected.events && whole.pongs == expected.pings);
    // Of a frame that is cut short, it may be known already how it ends.
    if (!expected.endsWithinFrame) {
        FUZZ_EXPECT(whole.isViolated == expected.isViolated);
        FUZZ_EXPECT(whole.isClosed == expected.isClosed);
        FUZZ_EXPECT(whole.closeCode == expected.closeCode);
        FUZZ_EXPECT(whole.hasAnsweredClose == (whole.isViolated || whole.isClosed));
    }
    std::size_t kept = 0;
    for (const std::string& event : whole.events) {
        kept += event.size();
    }
    // "binary " for two bytes of head.
    FUZZ_EXPECT(kept <= bytes.size() * 4);
}

/// A message goes out as one frame, byte for byte.
void checkOutgoing(std::string_view bytes, Chance& chance) {
    static constexpr std::array<std::size_t, 8> lengths{0, 1, 125, 126, 127, 65535, 65536, 682};
    Bytes message(lengths.at(chance.below(lengths.size())));
    for (std::size_t index = 0; index < message.size() && !bytes.empty(); ++index) {
        message[index] = static_cast<std::uint8_t>(bytes[index % bytes.size()]);
    }
    FrameCodec codec(1000);
    codec.queueBinary(message);
    codec.queueClose(1000);
    codec.queueBinary(message);
    const std::string output = codec.takeOutput();
    std::string_view rest = output;
    const Frame frame = takeOwnFrame(rest);
    FUZZ_EXPECT(frame.opcode == binary &&
                frame.payload == std::string(message.begin(), message.end()));
    const Frame last = takeOwnFrame(rest);
    FUZZ_EXPECT(last.opcode == closing && last.payload == "\x03\xe8" && rest.empty());
}

} // namespace
} // namespace tandrel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tandrel::fuzz;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    Chance chance(bytes);
    checkIncoming(bytes, 1'048'576, chance);
    // Control frames, too, have to fit.
    checkIncoming(bytes, 125 + chance.below(200), chance);
    checkOutgoing(bytes, chance);
    return 0;
}
