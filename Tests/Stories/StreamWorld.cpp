#include "StreamWorld.h"

#include "OwnTexts.h"

#include <algorithm>
#include <chrono>
#include <span>
#include <utility>

namespace tandrel::test {

namespace {

using namespace std::chrono_literals;
using Kind = SessionState::Kind;

constexpr Clock::Duration stepLength = 100ms;
constexpr const char* baseURL = "https://api.test";
// Less than what a step takes, so that the story is not one of computing.
constexpr std::uint32_t framesPerStep = 32;

bool isOpen(const FakeConnection& connection) {
    return connection.isResumed() && !connection.closedWith() && !connection.isDropped();
}

} // namespace

StreamWorld::StreamWorld(const Outage& outage, NthCall& nth)
    : server_(clock_, [this](const HttpRequest& request) { return backend.answer(request); })
    , transport_(server_, clock_, nth, outage.http)
    , socket_(sockets_, clock_, nth, outage.socket)
    , audioInput_(soundSystem_, clock_, nth, outage.audio)
    , desktopPermission_(mainQueue_)
    , permission_(desktopPermission_, clock_, nth, outage.permission)
    , settings_(settingsFile, nth, outage.settings)
    , credentials(vault, outage, nth, mainQueue_)
    , connectionsFail_(outage.socket.has_value()) {
    soundSystem_.deviceFacts = {FakeAudioInput::microphone(7, "Desk microphone", "mic-7")};
    soundSystem_.inputFormat = {16000.0, 1, SampleType::float32, true};
    desktopPermission_.status = AuthorizationStatus::notDetermined;
}

StreamWorld::~StreamWorld() = default;

void StreamWorld::storeSignIn() {
    vault.put(KeychainService::service, KeychainService::account(KeychainService::Key::accessToken),
              backend.issueAccessToken());
    settingsFile.setData(AuthService::cachedUserKey,
                         R"({"id":"u1","email":"ada@example.org","accountId":"a1"})");
}

void StreamWorld::startProgram() {
    credentials.restart();
    keychain_ = std::make_unique<KeychainService>(credentials.store());
    apiClient_ = std::make_unique<APIClient>(baseURL, transport_, *keychain_, clock_);
    audio_ = std::make_unique<AudioCaptureService>(audioInput_, permission_, mainQueue_);
    program_ = std::make_unique<MenuBarContentController>(
        MenuBarContentController::Environment{*apiClient_, *audio_, *keychain_, settings_, socket_,
                                              appState_, clock_},
        credentials.loader());
}

void StreamWorld::endProgram() {
    program_->shutdown();
    clock_.runPending();
    check(server_.pendingCount() == 0, "a request is left after the end");
    check(openConnections() == 0, "a connection is left after the end");
    check(soundSystem_.awaited().empty(), "a device is awaited after the end");
    for (const auto& connection : sockets_.connections()) {
        const bool isLost = connectionsFail_ || lost_.contains(connection.get());
        check(isLost || !connection->isDropped(), "a connection was not closed");
    }
    check(enginesAlive() == 0, "an audio engine is left after the end");
    program_.reset();
    audio_.reset();
    check(clock_.pendingCount() == 0, "a timer is left after the end");
    check(credentials.settle(), "the credentials' thread is stuck");
    mainQueue_.drain();
}

bool StreamWorld::passUntil(const std::function<bool()>& condition, Clock::Duration limit) {
    const Clock::Duration end = clock_.elapsed() + limit;
    while (!condition()) {
        if (clock_.elapsed() >= end) {
            return false;
        }
        step();
    }
    return true;
}

void StreamWorld::pass(Clock::Duration duration) {
    passUntil([] { return false; }, duration);
}

void StreamWorld::step() {
    clock_.advance(stepLength);
    check(credentials.settle(), "the credentials' thread is stuck");
    mainQueue_.drain();
    answerForTheOutside();
    mainQueue_.drain();
    checkAlways();
}

void StreamWorld::answerForTheOutside() {
    for (const auto& connection : sockets_.connections()) {
        if (isOpen(*connection)) {
            connection->answerPing();
        }
    }
    if (desktopPermission_.answer(true) > 0) {
        desktopPermission_.status = AuthorizationStatus::authorized;
    }
    // What was unplugged is in again at once.
    for (const std::string& uid : soundSystem_.awaited()) {
        soundSystem_.findDevice(uid);
    }
    const std::vector<float> sound(framesPerStep, 0.25F);
    soundSystem_.push(std::span<const float>(sound));
}

void StreamWorld::loseConnection(int closeCode) {
    FakeConnection& connection = sockets_.latest();
    connection.setCloseCode(closeCode);
    lost_.insert(&connection);
    connection.lose({0, "The connection was lost."});
}

void StreamWorld::unplug() {
    soundSystem_.reportFault(CaptureFault{CaptureFault::Kind::deviceLost, "unplugged"});
}

bool StreamWorld::isSignInKept() const {
    const auto account = KeychainService::account(KeychainService::Key::accessToken);
    return vault.item(KeychainService::service, account).has_value() &&
           settingsFile.data(AuthService::cachedUserKey).has_value();
}

std::size_t StreamWorld::receivedCount() const {
    std::size_t count = 0;
    for (const auto& connection : sockets_.connections()) {
        count += connection->sent().size();
    }
    return count;
}

std::size_t StreamWorld::openConnections() const {
    return static_cast<std::size_t>(std::ranges::count_if(
        sockets_.connections(), [](const auto& each) { return isOpen(*each); }));
}

std::size_t StreamWorld::enginesAlive() {
    const auto& calls = soundSystem_.calls();
    for (; callsSeen_ < calls.size(); ++callsSeen_) {
        if (calls[callsSeen_] == "makeEngine") {
            ++enginesAlive_;
        } else if (calls[callsSeen_].ends_with(".destroyed")) {
            --enginesAlive_;
        }
    }
    return enginesAlive_;
}

void StreamWorld::check(bool holds, std::string_view what) {
    constexpr std::size_t enough = 10;
    if (!holds && violations_.size() < enough) {
        const auto at = std::chrono::duration<double>(clock_.elapsed()).count();
        violations_.push_back("after " + std::to_string(at) + " s: " + std::string(what));
    }
}

void StreamWorld::checkAlways() {
    const bool isSignedIn = auth().isAuthenticated.value();
    const bool isStreaming = isSignedIn && sessionKind() == Kind::streaming;
    check((panel() != nullptr) == isSignedIn, "the panel exists just for whom is signed in");
    check(auth().user.value().has_value() == isSignedIn, "there is a user just while signed in");
    check(isStreaming || !soundSystem_.isRunning(), "the microphone is open without a stream");
    check(isStreaming || !audio_->isCapturing.value(), "it says that it records without a stream");
    check(isStreaming || openConnections() == 0, "a connection is open without a stream");
    check(isStreaming || soundSystem_.awaited().empty(), "a device is awaited without a stream");
    check(openConnections() <= 1, "more than one connection is open");
    check(enginesAlive() == (audio_->isCapturing.value() ? 1U : 0U),
          "there is an audio engine just while it records");
    if (StreamingController* const shown = panel()) {
        // Why it is over stands until the next one.
        const std::string notice = shown->notice.value().value_or("");
        check(isStreaming || notice.empty() || notice.ends_with("Streaming stopped."),
              "a notice of a stream that is over");
        check(isStreaming || shown->streamingDuration.value() == 0.0,
              "the duration runs without a stream");
    }
    checkTexts();
}

void StreamWorld::checkTexts() {
    std::vector<std::optional<std::string>> shown{auth().error.value(), session().error.value()};
    if (const std::string* const message = socketService().state.value().errorMessage()) {
        shown.emplace_back(*message);
    }
    if (StreamingController* const panelShown = panel()) {
        shown.push_back(panelShown->currentError());
        shown.push_back(panelShown->notice.value());
    }
    for (const auto& text : shown) {
        if (text && !isOwnText(*text)) {
            check(false, "a text of nobody's: " + *text);
        }
    }
}

void StreamWorld::checkNothingIsLeft() {
    check(!auth().isAuthenticated.value(), "somebody is signed in again");
    check(clock_.pendingCount() == 0, "a timer is left");
    check(server_.pendingCount() == 0, "a request is left");
    check(mainQueue_.size() == 0, "work is left");
    check(!auth().isLoading.value(), "a sign-in is left");
}

void StreamWorld::checkLogAndConsole(const std::string& console) {
    check(console.find(StreamBackend::secretMark) == std::string::npos,
          "a secret on the console: " + console);
    const std::string secretStart = StreamBackend::streamTokenStart;
    for (const std::string& line : log_.lines()) {
        if (line.find(StreamBackend::secretMark) != std::string::npos) {
            check(line.starts_with("[establishConnection] url=") &&
                      line.find("token=" + secretStart) != std::string::npos,
                  "a secret in the log: " + line);
        }
    }
}

} // namespace tandrel::test
