#include "Support/FailingAudioInput.h"
#include "Support/FailingCredentialStore.h"
#include "Support/FailingHttpTransport.h"
#include "Support/FailingLoginStart.h"
#include "Support/FailingMicrophonePermission.h"
#include "Support/FailingPackageInstaller.h"
#include "Support/FailingPackageStore.h"
#include "Support/FailingStreamSocket.h"
#include "Support/FailingUserDefaults.h"
#include "Support/FakeAudioInput.h"
#include "Support/FakeCredentialStore.h"
#include "Support/FakeHttpTransport.h"
#include "Support/FakeMicrophonePermission.h"
#include "Support/FakePackageInstaller.h"
#include "Support/FakePackageStore.h"
#include "Support/FakeStreamSocket.h"
#include "Support/FakeUserDefaults.h"
#include "Support/ManualClock.h"
#include "Support/ManualMainQueue.h"

#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tandrel::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Lasting = NthCall::Lasting;

std::vector<bool> fates(NthCall& nth) {
    return {nth.fails(), nth.fails(), nth.fails()};
}

TEST(NthCallTest, FailsOnceOrFromThenOnOrNever) {
    NthCall once(2);
    EXPECT_FALSE(once.hasFailed());
    EXPECT_THAT(fates(once), ElementsAre(false, true, false));
    EXPECT_TRUE(once.hasFailed());
    NthCall fromThenOn(2, Lasting::fromThenOn);
    EXPECT_THAT(fates(fromThenOn), ElementsAre(false, true, true));
    NthCall never;
    EXPECT_THAT(fates(never), ElementsAre(false, false, false));
    EXPECT_FALSE(never.hasFailed());
}

/// What an HTTP completion came with.
std::string text(const FailingHttpTransport::Outcome& outcome) {
    return outcome.ok() ? std::to_string(outcome.value().statusCode) + ' ' + outcome.value().body
                        : outcome.error().description;
}

class FailingHttpTransportTest : public testing::Test {
protected:
    void use(FailingHttpTransport::Failure failure) {
        transport = std::make_unique<FailingHttpTransport>(inner, clock, nth, std::move(failure));
    }
    [[nodiscard]] std::unique_ptr<HttpExchange> send(HttpBodySink sink = nullptr) {
        HttpRequest request{"GET", "https://api.test/", {}, {}};
        request.sink = std::move(sink);
        return transport->send(request,
                               [this](const auto& outcome) { events.push_back(text(outcome)); });
    }

    ManualClock clock;
    FakeHttpTransport inner;
    NthCall nth{2};
    std::unique_ptr<FailingHttpTransport> transport;
    std::vector<std::string> events;
};

TEST_F(FailingHttpTransportTest, AnswersTheNthRequestByItselfAndLater) {
    use(FailingHttpTransport::Failure::with(HttpResponse{503, "down"}));
    const auto first = send();
    const auto second = send();
    const auto third = send();
    EXPECT_EQ(inner.requests().size(), 2U);
    EXPECT_THAT(events, IsEmpty());
    clock.runPending();
    EXPECT_THAT(events, ElementsAre("503 down"));
    inner.answer(200);
    inner.answer(201);
    EXPECT_THAT(events, ElementsAre("503 down", "200 ", "201 "));
}

TEST_F(FailingHttpTransportTest, DelaysTheRightAnswer) {
    use(FailingHttpTransport::Failure::late(9s));
    const auto first = send();
    const auto second = send();
    inner.answer(200, "1");
    inner.answer(200, "2");
    clock.advance(8999ms);
    EXPECT_THAT(events, ElementsAre("200 1"));
    clock.advance(1ms);
    EXPECT_THAT(events, ElementsAre("200 1", "200 2"));
}

TEST_F(FailingHttpTransportTest, HangsUntilItIsCancelled) {
    use(FailingHttpTransport::Failure::never());
    const auto first = send();
    const auto second = send();
    clock.advance(24h);
    EXPECT_THAT(events, IsEmpty());
    second->cancel();
    EXPECT_THAT(events, IsEmpty());
    clock.runPending();
    EXPECT_THAT(events, ElementsAre("The request was cancelled."));
    second->cancel();
    clock.runPending();
    EXPECT_EQ(events.size(), 1U) << "once";
}

TEST_F(FailingHttpTransportTest, CutsTheBodyInHalf) {
    use({FailingHttpTransport::Failure::Kind::cutShort, {}});
    const auto first = send();
    const auto second = send();
    inner.answer(200, "whole");
    inner.answer(200, "broken");
    EXPECT_THAT(events, ElementsAre("200 whole", "200 bro"));
}

TEST_F(FailingHttpTransportTest, BreaksOffAfterTheFirstPart) {
    const TransportError lost{TransportError::Kind::other, "lost"};
    use({FailingHttpTransport::Failure::Kind::answerAfterFirstPart,
         {FailingHttpTransport::Outcome(lost)}});
    const auto first = send();
    std::vector<std::string> parts;
    std::function<void()> taken;
    const auto second = send([&](std::string part, std::function<void()> done) {
        parts.push_back(std::move(part));
        taken = std::move(done);
    });
    inner.lastRequest().sink("first", [] { FAIL() << "nothing follows"; });
    EXPECT_THAT(parts, ElementsAre("first"));
    EXPECT_THAT(events, IsEmpty());
    taken();
    EXPECT_EQ(inner.abortedCount(), 1U);
    clock.runPending();
    EXPECT_THAT(events, ElementsAre("lost"));
}

TEST_F(FailingHttpTransportTest, IsSilentOnceItIsDestroyed) {
    use(FailingHttpTransport::Failure::with(HttpResponse{401, {}}));
    const auto first = send();
    send().reset();
    clock.runPending();
    EXPECT_THAT(events, IsEmpty());
}

class FailingStreamSocketTest : public testing::Test {
protected:
    void open(FailingStreamSocket::Failure failure, std::size_t number = 1) {
        nth = std::make_unique<NthCall>(number);
        socket = std::make_unique<FailingStreamSocket>(inner, clock, *nth, std::move(failure));
        task = socket->webSocketTask("wss://api.test");
        task->resume();
        task->sendPing([this](const auto& error) { note("ping", error); });
        task->receive([this](const auto& result) {
            note("receive", result.ok() ? std::nullopt : std::optional(result.error()));
        });
    }
    void note(const std::string& call, const std::optional<SocketError>& error) {
        events.push_back(call + (error ? " " + error->description : ""));
    }

    ManualClock clock;
    FakeStreamSocket inner;
    std::unique_ptr<NthCall> nth;
    std::unique_ptr<FailingStreamSocket> socket;
    std::shared_ptr<StreamSocketTask> task;
    std::vector<std::string> events;
};

using SocketCall = FailingStreamSocket::Failure::Call;

TEST_F(FailingStreamSocketTest, LosesTheConnectionOnceForAllThatWait) {
    open({SocketCall::receive, SocketError{1, "lost"}, 2s, 4001});
    inner.latest().answerPing();
    EXPECT_THAT(events, ElementsAre("ping"));
    clock.advance(2s);
    EXPECT_THAT(events, ElementsAre("ping", "receive lost"));
    EXPECT_EQ(task->closeCode(), 4001);
    EXPECT_TRUE(inner.latest().isDropped());
    task->cancel(1000);
}

TEST_F(FailingStreamSocketTest, AFailedPingIsALossToo) {
    open({SocketCall::ping, SocketError{1, "lost"}});
    clock.runPending();
    EXPECT_THAT(events, ElementsAre("ping lost", "receive lost"));
}

TEST_F(FailingStreamSocketTest, APongMayComeLate) {
    open({SocketCall::ping, std::nullopt, 8s});
    inner.latest().answerPing();
    clock.advance(7s);
    EXPECT_THAT(events, IsEmpty());
    clock.advance(1s);
    EXPECT_THAT(events, ElementsAre("ping"));
}

TEST_F(FailingStreamSocketTest, AMessageIsLostByItself) {
    open({SocketCall::send, SocketError{1, "lost"}}, 2);
    for (int message = 0; message < 3; ++message) {
        task->send({0}, [this](const auto& error) { note("send", error); });
    }
    EXPECT_THAT(events, ElementsAre("send", "send lost", "send"));
    EXPECT_EQ(inner.latest().sent().size(), 2U);
}

TEST_F(FailingStreamSocketTest, ASendMayNeverBeAnswered) {
    open({SocketCall::send, std::nullopt, std::nullopt});
    task->send({0}, [this](const auto& error) { note("send", error); });
    EXPECT_THAT(events, IsEmpty());
    EXPECT_THAT(inner.latest().sent(), IsEmpty());
}

TEST_F(FailingStreamSocketTest, ACloseCodeMayBeLost) {
    open({SocketCall::closeCode, {}});
    inner.latest().setCloseCode(4002);
    EXPECT_EQ(task->closeCode(), 0);
    EXPECT_EQ(task->closeCode(), 4002);
}

TEST_F(FailingStreamSocketTest, NothingComesAfterACancel) {
    open({SocketCall::receive, SocketError{1, "lost"}, 2s});
    task->cancel(1000);
    clock.advance(1min);
    EXPECT_THAT(events, IsEmpty());
    EXPECT_EQ(inner.latest().closedWith(), 1000);
}

class FailingAudioInputTest : public testing::Test {
protected:
    FailingAudioInputTest() { inner.deviceFacts = {FakeAudioInput::microphone(1, "a", "b")}; }

    void use(FailingAudioInput::Failure failure) {
        input = std::make_unique<FailingAudioInput>(inner, clock, nth, std::move(failure));
    }
    /// A started engine, with a tap that counts.
    [[nodiscard]] std::unique_ptr<AudioEngine> capture() {
        auto engine = input->makeEngine();
        engine->installTap(1024, [this](const AudioBuffer&) { ++buffers; });
        engine->setFaultHandler([this](const std::optional<CaptureFault>& fault) {
            faults.push_back(fault ? fault->description : "sound again");
        });
        engine->start();
        return engine;
    }

    ManualClock clock;
    FakeAudioInput inner;
    NthCall nth{1};
    std::unique_ptr<FailingAudioInput> input;
    int buffers = 0;
    std::vector<std::string> faults;
};

using AudioCall = FailingAudioInput::Failure::Call;

TEST_F(FailingAudioInputTest, AnswersBadlyOnce) {
    use({AudioCall::devices, std::nullopt});
    EXPECT_FALSE(input->devices().has_value());
    EXPECT_TRUE(input->devices().has_value());
}

TEST_F(FailingAudioInputTest, HasNoSuchDeviceOnce) {
    use({AudioCall::bindDevice});
    const auto engine = input->makeEngine();
    EXPECT_FALSE(engine->bindDevice(1, "b"));
    EXPECT_TRUE(engine->bindDevice(1, "b"));
}

TEST_F(FailingAudioInputTest, HasAnotherFormatOnce) {
    use({AudioCall::inputFormat, {}, AudioFormat{}});
    const auto engine = input->makeEngine();
    EXPECT_EQ(engine->inputFormat(), AudioFormat{});
    EXPECT_EQ(engine->inputFormat(), inner.inputFormat);
}

TEST_F(FailingAudioInputTest, DoesNotStartOnce) {
    use({AudioCall::start, {}, {}, "refused"});
    EXPECT_THROW(static_cast<void>(capture()), AudioEngineError);
    const auto engine = capture();
    EXPECT_TRUE(inner.isRunning());
}

TEST_F(FailingAudioInputTest, GoesSilentWithAFault) {
    use({AudioCall::capture, {}, {}, "gone", CaptureFault::Kind::deviceLost, 2s});
    const auto engine = capture();
    inner.pushSilence(16);
    clock.advance(2s);
    inner.pushSilence(16);
    EXPECT_EQ(buffers, 1);
    EXPECT_THAT(faults, ElementsAre("gone"));
}

TEST_F(FailingAudioInputTest, FindsDevicesUnlessTheyStayAway) {
    use({AudioCall::start, {}, {}, "refused", {}, {}, true});
    int found = 0;
    const Handle before = input->awaitDevice("b", [&found] { ++found; });
    EXPECT_EQ(inner.findDevice("b"), 1);
    EXPECT_THROW(static_cast<void>(capture()), AudioEngineError);
    const Handle after = input->awaitDevice("b", [&found] { ++found; });
    EXPECT_EQ(inner.findDevice("b"), 0);
    use({AudioCall::start});
    const Handle again = input->awaitDevice("b", [&found] { ++found; });
    EXPECT_EQ(inner.findDevice("b"), 1);
    EXPECT_EQ(found, 2);
}

TEST_F(FailingAudioInputTest, HasSoundAgainOnceAStallHasPassed) {
    use({AudioCall::capture, {}, {}, "silent", CaptureFault::Kind::stalled, 1s, false, 2s});
    const auto engine = capture();
    clock.advance(2s);
    inner.pushSilence(16);
    EXPECT_THAT(faults, ElementsAre("silent"));
    clock.advance(1s);
    inner.pushSilence(16);
    EXPECT_EQ(buffers, 1);
    EXPECT_THAT(faults, ElementsAre("silent", "sound again"));
}

TEST_F(FailingAudioInputTest, ReportsNothingOnceItIsStopped) {
    use({AudioCall::capture, {}, {}, "gone", CaptureFault::Kind::deviceLost, 2s});
    const auto engine = capture();
    engine->stop();
    clock.advance(2s);
    EXPECT_THAT(faults, IsEmpty());
}

TEST(FailingCredentialStoreTest, RefusesOneCallOfItsKind) {
    FakeCredentialStore inner;
    NthCall nth(2);
    using Failure = FailingCredentialStore::Failure;
    FailingCredentialStore store(inner, nth,
                                 Failure{Failure::Call::add, CredentialStatus::unavailable, {}});
    EXPECT_EQ(store.add("s", "a", "1"), CredentialStatus::success);
    EXPECT_EQ(store.remove("s", "b"), CredentialStatus::itemNotFound);
    EXPECT_EQ(store.add("s", "b", "1"), CredentialStatus::unavailable);
    EXPECT_FALSE(inner.item("s", "b"));
    EXPECT_EQ(store.add("s", "b", "1"), CredentialStatus::success);
}

TEST(FailingCredentialStoreTest, WaitsForItsGate) {
    FakeCredentialStore inner;
    NthCall nth(1);
    using Failure = FailingCredentialStore::Failure;
    const auto gate = std::make_shared<Gate>();
    FailingCredentialStore store(inner, nth, Failure{Failure::Call::remove, std::nullopt, gate});
    inner.put("s", "a", "1");
    gate->open();
    EXPECT_EQ(store.remove("s", "a"), CredentialStatus::success) << "it goes well then";
    EXPECT_FALSE(gate->isHolding());
}

TEST(FailingUserDefaultsTest, LosesOneCallOfItsKind) {
    FakeUserDefaults inner;
    NthCall reads(1);
    using Failure = FailingUserDefaults::Failure;
    const FailingUserDefaults lying(inner, reads, Failure{Failure::Call::data, "garbage"});
    EXPECT_EQ(lying.data("k"), "garbage");
    EXPECT_EQ(lying.data("k"), std::nullopt);

    NthCall writes(1);
    FailingUserDefaults readOnly(inner, writes, Failure{Failure::Call::setData, {}});
    readOnly.setData("k", "1");
    EXPECT_EQ(inner.size(), 0U);
    readOnly.setData("k", "1");
    EXPECT_EQ(inner.size(), 1U);

    NthCall removals(1);
    FailingUserDefaults keeping(inner, removals, Failure{Failure::Call::remove, {}});
    keeping.remove("k");
    EXPECT_EQ(inner.size(), 1U);
    keeping.remove("k");
    EXPECT_EQ(inner.size(), 0U);
}

TEST(FailingMicrophonePermissionTest, AnswersBadlyOnce) {
    ManualClock clock;
    ManualMainQueue queue;
    FakeMicrophonePermission inner(queue);
    NthCall nth(1);
    using Failure = FailingMicrophonePermission::Failure;
    FailingMicrophonePermission permission(
        inner, clock, nth, Failure{{}, BadAnswer<bool>{false, std::chrono::seconds(1)}});
    std::vector<bool> answers;
    const Handle first =
        permission.requestAccess([&](bool granted) { answers.push_back(granted); });
    clock.advance(1s);
    EXPECT_THAT(answers, ElementsAre(false));
    const Handle second =
        permission.requestAccess([&](bool granted) { answers.push_back(granted); });
    inner.answer(true);
    EXPECT_THAT(answers, ElementsAre(false, true));
}

TEST(FailingMicrophonePermissionTest, IsSilentOnceTheHandleIsGone) {
    ManualClock clock;
    ManualMainQueue queue;
    FakeMicrophonePermission inner(queue);
    NthCall nth(1);
    using Failure = FailingMicrophonePermission::Failure;
    FailingMicrophonePermission permission(inner, clock, nth,
                                           Failure{BadAnswer<AuthorizationStatus>::late(1s), {}});
    Handle question =
        permission.authorizationStatus([](AuthorizationStatus) { FAIL() << "nobody asks"; });
    queue.drain();
    question.reset();
    clock.advance(1s);
}

class SwitchedLoginStart : public LoginStart {
public:
    [[nodiscard]] LoginStartAnswer look() const override { return {isOn_, {}}; }
    LoginStartAnswer change(bool toOn) override {
        isOn_ = toOn;
        return look();
    }

private:
    bool isOn_ = false;
};

TEST(FailingLoginStartTest, RefusesOneChangeAndSaysWhatStands) {
    using Failure = FailingLoginStart::Failure;
    FailingLoginStart start(std::make_unique<SwitchedLoginStart>(), std::make_shared<NthCall>(2),
                            Failure{Failure::Call::change, LoginStartAnswer{false, "no"}, {}});
    EXPECT_EQ(start.change(true), (LoginStartAnswer{true, {}}));
    EXPECT_EQ(start.change(false), (LoginStartAnswer{true, "no"}));
    EXPECT_EQ(start.change(false), (LoginStartAnswer{false, {}}));
}

TEST(FailingPackageStoreTest, LosesOnePartAndDelaysOneCheck) {
    ManualClock clock;
    FakePackageStore inner;
    NthCall nth(2);
    using Failure = FailingPackageStore::Failure;
    FailingPackageStore store(inner, clock, nth,
                              Failure{BadAnswer<WriteOutcome>{WriteOutcome::diskFull},
                                      BadAnswer<PackageVerdict>{PackageVerdict::wrongSignature}});
    const auto file = store.create("1");
    std::vector<WriteOutcome> writes;
    file->append("a", [&](WriteOutcome outcome) { writes.push_back(outcome); });
    file->append("b", [&](WriteOutcome outcome) { writes.push_back(outcome); });
    while (inner.proceed()) {
    }
    clock.runPending();
    EXPECT_THAT(writes, ElementsAre(WriteOutcome::written, WriteOutcome::diskFull));
    EXPECT_EQ(inner.files()[0]->contents, "a");
}

TEST(FailingPackageStoreTest, ALateCheckKeepsThePath) {
    ManualClock clock;
    FakePackageStore inner;
    NthCall nth(1);
    using Failure = FailingPackageStore::Failure;
    FailingPackageStore store(inner, clock, nth, Failure{{}, BadAnswer<PackageVerdict>::late(1s)});
    const auto file = store.create("1");
    std::string path;
    file->seal({}, [&](PackageVerdict, const std::string& at) { path = at; });
    inner.proceed();
    EXPECT_EQ(path, "");
    clock.advance(1s);
    EXPECT_EQ(path, FakePackageStore::path);
}

TEST(FailingPackageStoreTest, ASignatureIsRefusedOnce) {
    NthCall nth(1);
    const SignatureCheck check = failingSignatureCheck(
        [](auto, auto, auto) { return SignatureVerdict::genuine; }, nth, SignatureVerdict::wrong);
    EXPECT_EQ(check("", "", ""), SignatureVerdict::wrong);
    EXPECT_EQ(check("", "", ""), SignatureVerdict::genuine);
}

TEST(FailingPackageInstallerTest, RefusesOnePackage) {
    ManualClock clock;
    FakePackageInstaller inner;
    NthCall nth(1);
    FailingPackageInstaller installer(inner, clock, nth, BadAnswer<bool>{false});
    std::vector<bool> answers;
    const Handle first = installer.install("p", [&](bool isTaken) { answers.push_back(isTaken); });
    clock.runPending();
    EXPECT_THAT(answers, ElementsAre(false));
    EXPECT_THAT(inner.paths, IsEmpty());
    const Handle second = installer.install("p", [&](bool isTaken) { answers.push_back(isTaken); });
    inner.answer(true);
    EXPECT_THAT(answers, ElementsAre(false, true));
}

} // namespace
} // namespace tandrel::test
