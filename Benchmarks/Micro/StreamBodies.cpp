#include "Micro/Body.h"
#include "Micro/OneThreadStream.h"
#include "Micro/Tone.h"
#include "Platform/GrantedBuffer.h"
#include "Platform/SampleRing.h"
#include "Platform/TapFeed.h"
#include "Platform/WebSocket/FrameCodec.h"
#include "Platform/WebSocket/SendQueue.h"
#include "Services/AudioCaptureService.h"
#include "Support/FakeAudioInput.h"
#include "Support/FakeMicrophonePermission.h"
#include "Support/ManualMainQueue.h"

#include <QCoreApplication>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace tandrel::bench {

namespace {

/// A granted buffer at 48 kHz after its conversion.
constexpr std::size_t messageBytes = 682;

/// What a message passes between the tap and the socket, and no more.
struct FramingPath {
    ConnectionTable table;
    NetworkMailbox mailbox{table};
    SendQueue queue{SocketLimits().waitingBytes};
    FrameCodec codec{SocketLimits().messageBytes};
    std::string output;

    void send() {
        SendQueue::Message message{Bytes(messageBytes), {}, std::chrono::steady_clock::now()};
        if (queue.push(message) == SendQueue::Pushed::wakeNeeded) {
            mailbox.post([this](ConnectionTable&) { frameWaiting(); });
        }
        QCoreApplication::sendPostedEvents();
    }

private:
    void frameWaiting() {
        queue.beginRound();
        while (const auto message = queue.pop()) {
            codec.queueBinary(message->payload);
            output = codec.takeOutput(std::move(output));
            benchmark::DoNotOptimize(output.data());
        }
    }
};

/// From the microphone's ring to the server's system.
struct WholePath {
    OneThreadStream stream;
    test::ManualMainQueue unused;
    test::FakeAudioInput input;
    test::FakeMicrophonePermission permission{unused};
    AudioCaptureService capture{input, permission, stream.mainQueue};
    std::shared_ptr<SampleRing> ring;
    std::unique_ptr<TapFeed> feed;
    std::vector<float> sound;

    explicit WholePath(std::uint32_t rate)
        : ring(std::make_shared<SampleRing>(std::size_t{2} * rate)) {
        input.inputFormat.sampleRate = rate;
        capture.setOnAudioBuffer([this](Bytes data) { stream.sendAudioData(std::move(data)); });
        capture.startCapture({1, "Microphone", "microphone"});
        const std::uint32_t frames = grantCapture(rate, input.requestedBufferFrames()).bufferFrames;
        sound = tone(frames);
        feed = std::make_unique<TapFeed>(ring, frames, rate, input.installedTap());
    }

    void pass() {
        ring->push(sound.data(), sound.size(), 1);
        feed->deliver();
        stream.finishRound();
    }
};

Body wholePath(std::string name, std::uint32_t rate) {
    return {std::move(name), "buffer", 1,
            [rate] { return [path = std::make_shared<WholePath>(rate)] { path->pass(); }; }};
}

} // namespace

std::vector<Body> streamBodies() {
    return {
        {"send/framing", "message", 1,
         [] { return [path = std::make_shared<FramingPath>()] { path->send(); }; }},
        {"send/loopback", "message", 1,
         [] {
             return [stream = std::make_shared<OneThreadStream>()] {
                 stream->sendAudioData(Bytes(messageBytes));
                 stream->finishRound();
             };
         }},
        wholePath("stream", 48000),
        wholePath("stream/44100", 44100),
        wholePath("stream/192000", 192000),
    };
}

} // namespace tandrel::bench
