#include "EnduranceWorld.h"

#include "Platform/GrantedBuffer.h"
#include "Support/CountedSound.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

namespace tandrel::test {

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t streamRate = 16000;
/// That a microphone comes back with, in turn.
constexpr std::array<std::uint32_t, 3> rates{48000, 16000, 44100};
constexpr Clock::Duration pauseWithoutSound = 20ms;
const SocketError lossError{0, "The connection was lost."};

bool isLogged(std::uint64_t number, std::uint64_t interval) {
    return number <= 5 || number % interval == 0;
}

} // namespace

struct EnduranceSocket::Link {
    StreamSocketTask::PingCompletion ping;
    StreamSocketTask::ReceiveCompletion receive;
    bool isConnected = false;
};

class EnduranceSocket::Task : public StreamSocketTask {
public:
    Task(EnduranceSocket& socket, std::shared_ptr<Link> link)
        : socket_(socket)
        , link_(std::move(link)) {}

    void resume() override {}
    void sendPing(PingCompletion completion) override { link_->ping = std::move(completion); }
    void receive(ReceiveCompletion completion) override { link_->receive = std::move(completion); }
    void send(Bytes message, SendCompletion completion) override {
        if (socket_.fails || !link_->isConnected) {
            completion(lossError);
            return;
        }
        socket_.take(message);
        completion(std::nullopt);
    }
    void cancel(std::uint16_t /*closeCode*/) override { *link_ = {}; }
    [[nodiscard]] int closeCode() const override { return 0; }

private:
    EnduranceSocket& socket_;
    std::shared_ptr<Link> link_;
};

EnduranceSocket::EnduranceSocket() = default;
EnduranceSocket::~EnduranceSocket() = default;

std::shared_ptr<StreamSocketTask> EnduranceSocket::webSocketTask(const std::string& /*url*/) {
    ++connections_;
    link_ = std::make_shared<Link>();
    return std::make_shared<Task>(*this, link_);
}

bool EnduranceSocket::isOpening() const {
    return link_ && link_->ping;
}

void EnduranceSocket::answerPing() {
    link_->isConnected = true;
    std::exchange(link_->ping, nullptr)(std::nullopt);
}

void EnduranceSocket::lose() {
    const Link lost = std::exchange(*link_, {});
    if (lost.ping) {
        lost.ping(lossError);
    }
    if (lost.receive) {
        lost.receive(lossError);
    }
}

bool EnduranceSocket::isConnected() const {
    return link_ && link_->isConnected;
}

void EnduranceSocket::take(const Bytes& message) {
    ++messages_;
    if (!std::ranges::equal(message, expected)) {
        ++wrongMessages_;
    }
}

EnduranceWorld::EnduranceWorld()
    : auth_(outside_.backend.apiClient, outside_.backend.keychain, outside_.backend.userDefaults)
    , session_(outside_.backend.apiClient, outside_.backend.keychain, outside_.backend.clock)
    , service_(std::make_shared<WebSocketService>(outside_.backend.apiClient, socket_,
                                                  outside_.backend.clock))
    , controller_(std::make_unique<StreamingController>(auth_, session_, outside_.audioService,
                                                        service_, outside_.appState,
                                                        outside_.backend.clock)) {
    outside_.permission.status = AuthorizationStatus::authorized;
    outside_.audioInput.inputFormat = {rates[0], 1, SampleType::float32, true};
}

EnduranceWorld::~EnduranceWorld() = default;

std::uint32_t EnduranceWorld::rate() const {
    return static_cast<std::uint32_t>(outside_.audioInput.inputFormat.sampleRate);
}

bool EnduranceWorld::start() {
    const TandrelSessionResponse found{"s1", "stream-token", "i1"};
    session_.state.set(SessionState::sessionFound(found));
    controller_->startStreaming(found);
    for (int steps = 0; !isWell(); ++steps) {
        if (steps == 1000) {
            return false;
        }
        step();
    }
    return true;
}

void EnduranceWorld::pass(Clock::Duration duration) {
    const Clock::Duration end = elapsed() + duration;
    while (elapsed() < end) {
        step();
    }
}

bool EnduranceWorld::isWell() const {
    return socket_.isConnected() && !socket_.fails && outside_.audioInput.isRunning() &&
           !stallEnds_ && !outside_.audioService.captureFault.value();
}

void EnduranceWorld::loseConnection(int refusals) {
    refusals_ = refusals;
    socket_.lose();
}

void EnduranceWorld::failSends(int count) {
    sendsToFail_ = count;
    socket_.fails = true;
}

void EnduranceWorld::unplug() {
    outside_.audioInput.reportFault(
        CaptureFault{CaptureFault::Kind::deviceLost, "The microphone was disconnected"});
    const auto now = std::ranges::find(rates, rate());
    const auto next = now + 1 == rates.end() ? rates.begin() : now + 1;
    outside_.audioInput.inputFormat.sampleRate = *next;
    deviceReturns_ = elapsed() + 7s;
}

void EnduranceWorld::stall() {
    outside_.audioInput.reportFault(CaptureFault{CaptureFault::Kind::stalled, "No sound comes"});
    stallEnds_ = elapsed() + 5s;
}

void EnduranceWorld::stop() {
    controller_->stopStreaming();
}

void EnduranceWorld::step() {
    answerForTheNetwork();
    answerForTheSoundSystem();
    const bool isRunning = outside_.audioInput.isRunning();
    if (isRunning && !wasRunning_) {
        captureStarted();
    }
    wasRunning_ = isRunning;
    const bool isLost = deviceReturns_.has_value();
    if (isRunning && !isLost && !stallEnds_) {
        pushBuffer();
        outside_.clock().advance(std::chrono::nanoseconds(
            std::int64_t{1'000'000'000} * static_cast<std::int64_t>(samples_.size()) / rate()));
    } else {
        outside_.clock().advance(pauseWithoutSound);
    }
    outside_.mainQueue.drain();
}

void EnduranceWorld::answerForTheNetwork() {
    if (socket_.fails && sendsToFail_ == 0) {
        socket_.fails = false;
        socket_.lose();
    }
    if (!socket_.isOpening()) {
        return;
    }
    if (refusals_ > 0) {
        --refusals_;
        socket_.lose();
    } else {
        socket_.answerPing();
    }
}

void EnduranceWorld::answerForTheSoundSystem() {
    if (stallEnds_ && elapsed() >= *stallEnds_) {
        stallEnds_.reset();
        outside_.audioInput.reportFault(std::nullopt);
        outside_.mainQueue.drain();
    }
    if (deviceReturns_ && elapsed() >= *deviceReturns_ &&
        outside_.audioInput.findDevice("mic-7") > 0) {
        // Permission is asked for, and the capture starts.
        outside_.mainQueue.drain();
        deviceReturns_.reset();
        wasRunning_ = false;
    }
}

void EnduranceWorld::captureStarted() {
    reference_ = PCMConverter::create(outside_.audioInput.inputFormat);
    samples_.resize(grantCapture(rate(), 1024).bufferFrames);
    expected_.resize(samples_.size() * streamRate / rate() * sizeof(std::int16_t));
}

void EnduranceWorld::pushBuffer() {
    for (float& sample : samples_) {
        sample = static_cast<float>(CountedSound::frame(position_)) / 32768.0F;
        position_ = (position_ + 1) % CountedSound::length;
    }
    // What a stream without any trouble would make of it.
    const auto frames = reference_->convert(samples_, expected_);
    socket_.expected = std::span(expected_).first(frames.value() * streamBytesPerFrame);
    const bool isPromised = socket_.isConnected() && !socket_.fails;
    const bool fails = socket_.isConnected() && socket_.fails;
    const std::uint64_t before = socket_.messages();
    outside_.audioInput.push(samples_);
    ++buffers_;
    promised_ += isPromised ? 1U : 0U;
    const std::uint64_t came = socket_.messages() - before;
    lost_ += isPromised && came == 0 ? 1U : 0U;
    unpromised_ += came > (isPromised ? 1U : 0U) ? 1U : 0U;
    if (fails) {
        ++sendErrors_;
        --sendsToFail_;
    }
    // The buffer, what it was converted to, the level; the send and its success.
    throttledLines_ += isLogged(buffers_, 200) ? 3U : 0U;
    throttledLines_ += isLogged(buffers_, 100) ? (isPromised ? 2U : 1U) : 0U;
}

} // namespace tandrel::test
