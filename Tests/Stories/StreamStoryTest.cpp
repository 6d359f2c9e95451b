#include "StreamStory.h"

#include "DebugLog.h"
#include "OwnTexts.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <tuple>
#include <utility>
#include <vector>

namespace tandrel::test {
namespace {

using namespace std::chrono_literals;
using testing::IsEmpty;
using testing::IsSubsetOf;
using Lasting = NthCall::Lasting;
using TransportKind = TransportError::Kind;

/// A story that is told once.
struct Telling {
    Telling(const Outage& outage, std::size_t number, Lasting lasting)
        : nth(number, lasting) {
        testing::internal::CaptureStdout();
        // Else each story would read what all before it have written.
        std::error_code ignored;
        std::filesystem::resize_file(DebugLog::path(), 0, ignored);
        StreamWorld world(outage, nth);
        missed = StreamStory(world).tell();
        record = testing::internal::GetCapturedStdout();
        world.checkLogAndConsole(record);
        violations = world.violations();
        for (const std::string& line : world.logLines()) {
            record += line + '\n';
        }
    }

    NthCall nth;
    /// The chapters that did not come to their end.
    std::vector<std::string> missed;
    std::vector<std::string> violations;
    /// The console's lines, and the log's.
    std::string record;
};

Outage http(std::string name, FailingHttpTransport::Failure failure) {
    return {std::move(name), std::move(failure)};
}

Outage httpError(std::string name, TransportKind kind) {
    return http(std::move(name),
                FailingHttpTransport::Failure::with(TransportError{kind, transportFailure}));
}

Outage httpAnswer(std::string name, int status, std::string body = {}) {
    return http(std::move(name),
                FailingHttpTransport::Failure::with(HttpResponse{status, std::move(body)}));
}

Outage socketLoss(std::string name, FailingStreamSocket::Failure::Call call,
                  FailingStreamSocket::Failure failure) {
    failure.call = call;
    Outage outage{std::move(name)};
    outage.socket = std::move(failure);
    return outage;
}

Outage audio(std::string name, FailingAudioInput::Failure failure) {
    Outage outage{std::move(name)};
    outage.audio = std::move(failure);
    return outage;
}

Outage permission(std::string name, FailingMicrophonePermission::Failure failure) {
    Outage outage{std::move(name)};
    outage.permission = std::move(failure);
    return outage;
}

Outage settings(std::string name, FailingUserDefaults::Failure failure) {
    Outage outage{std::move(name)};
    outage.settings = std::move(failure);
    return outage;
}

using CredentialCall = FailingCredentialStore::Failure::Call;

Outage credentials(std::string name, CredentialCall call, std::optional<CredentialStatus> status,
                   bool hasCopy) {
    Outage outage{std::move(name)};
    outage.credentials = FailingCredentialStore::Failure{call, status, nullptr};
    outage.hasCredentialCopy = hasCopy;
    return outage;
}

std::vector<Outage> httpOutages() {
    using Failure = FailingHttpTransport::Failure;
    return {
        httpError("NoConnection", TransportKind::other),
        httpError("TimeOut", TransportKind::timedOut),
        httpError("Cancelled", TransportKind::cancelled),
        httpError("Tls", TransportKind::tls),
        httpError("TooLarge", TransportKind::tooLarge),
        httpAnswer("Status401", 401),
        httpAnswer("Status302", 302),
        httpAnswer("Status503", 503, "<html>"),
        httpAnswer("Empty", 204),
        httpAnswer("Garbage", 200, "{\"access_token\": \"half-SECRET"),
        httpAnswer("AnotherRecord", 200, R"({"error":"none"})"),
        http("CutShort", {Failure::Kind::cutShort, {}}),
        http("Late", Failure::late(9s)),
        http("VeryLate", Failure::late(2min)),
        http("Hanging", Failure::never()),
    };
}

std::vector<Outage> socketOutages() {
    using Call = FailingStreamSocket::Failure::Call;
    const SocketError lost{104, "Connection reset by peer"};
    return {
        socketLoss("NoConnection", Call::ping, {{}, SocketError{111, "Connection refused"}}),
        socketLoss("NoPong", Call::ping, {{}, SocketError{110, "No pong came."}, 9s}),
        socketLoss("LatePong", Call::ping, {{}, std::nullopt, 8900ms}),
        socketLoss("LostSoon", Call::receive, {{}, lost}),
        socketLoss("LostLater", Call::receive, {{}, lost, 2500ms}),
        socketLoss("ClosedNormally", Call::receive, {{}, lost, 1s, 1000}),
        socketLoss("ClosedForError", Call::receive, {{}, lost, 1s, 1011}),
        socketLoss("TokenInvalid", Call::receive, {{}, lost, 1s, 4001}),
        socketLoss("NoLongerPending", Call::receive, {{}, lost, 1s, 4002}),
        socketLoss("ReplacedByServer", Call::receive, {{}, lost, 1s, 4003}),
        socketLoss("TokenInvalidAtOnce", Call::ping, {{}, SocketError{4001, "closed"}}),
        socketLoss("SendFails", Call::send, {{}, lost}),
        socketLoss("SendIsNeverAnswered", Call::send, {{}, std::nullopt, std::nullopt}),
        socketLoss("CloseCodeIsLost", Call::closeCode, {}),
    };
}

std::vector<Outage> audioOutages() {
    using Call = FailingAudioInput::Failure::Call;
    using Fault = CaptureFault::Kind;
    return {
        audio("NoAnswerAboutDevices", {Call::devices, std::nullopt}),
        audio("NoDevices", {Call::devices, std::vector<InputDeviceFacts>{}}),
        audio("DeviceGone", {Call::bindDevice}),
        audio("NoFormat", {Call::inputFormat, {}, AudioFormat{}}),
        audio("FormatOfIntegers",
              {Call::inputFormat, {}, AudioFormat{48000, 2, SampleType::int16, true}}),
        audio("EngineDoesNotStart", {Call::start, {}, {}, engineFailure}),
        audio("UnpluggedAtOnce", {Call::capture, {}, {}, "gone", Fault::deviceLost}),
        audio("Unplugged", {Call::capture, {}, {}, "gone", Fault::deviceLost, 700ms}),
        audio("ServerGone", {Call::capture, {}, {}, "gone", Fault::serverLost, 700ms}),
        audio("UnpluggedForGood", {Call::capture, {}, {}, "gone", Fault::deviceLost, 700ms, true}),
        audio("Stalled", {Call::capture, {}, {}, "silent", Fault::stalled, 1250ms}),
        audio("StalledAWhile",
              {Call::capture, {}, {}, "silent", Fault::stalled, 1250ms, false, 5s}),
    };
}

std::vector<Outage> permissionOutages() {
    using Status = BadAnswer<AuthorizationStatus>;
    using Access = BadAnswer<bool>;
    return {
        permission("Denied", {Status{AuthorizationStatus::denied}, {}}),
        permission("Restricted", {Status{AuthorizationStatus::restricted}, {}}),
        permission("AskedAnew", {Status{AuthorizationStatus::notDetermined}, {}}),
        permission("StatusLate", {Status::late(2s), {}}),
        permission("StatusNever", {Status::never(), {}}),
        permission("Refused", {{}, Access{false}}),
        permission("AnswerLate", {{}, Access::late(8s)}),
        permission("AnswerVeryLate", {{}, Access::late(30s)}),
        permission("AnswerNever", {{}, Access::never()}),
    };
}

std::vector<Outage> settingsOutages() {
    using Call = FailingUserDefaults::Failure::Call;
    return {
        settings("NothingThere", {Call::data, std::nullopt}),
        settings("Garbage", {Call::data, std::string("\xFF{")}),
        settings("WriteIgnored", {Call::setData, {}}),
        settings("RemovalIgnored", {Call::remove, {}}),
    };
}

std::vector<Outage> credentialOutages() {
    std::vector<Outage> outages;
    for (const bool hasCopy : {false, true}) {
        const std::string prefix = hasCopy ? "Copied" : "Straight";
        outages.push_back(credentials(prefix + "AddUnavailable", CredentialCall::add,
                                      CredentialStatus::unavailable, hasCopy));
        outages.push_back(credentials(prefix + "AddNoStore", CredentialCall::add,
                                      CredentialStatus::noStore, hasCopy));
        outages.push_back(credentials(prefix + "AddDuplicate", CredentialCall::add,
                                      CredentialStatus::duplicateItem, hasCopy));
        outages.push_back(credentials(prefix + "ReadNotFound", CredentialCall::read,
                                      CredentialStatus::itemNotFound, hasCopy));
        outages.push_back(credentials(prefix + "ReadUnavailable", CredentialCall::read,
                                      CredentialStatus::unavailable, hasCopy));
        outages.push_back(credentials(prefix + "ReadNoStore", CredentialCall::read,
                                      CredentialStatus::noStore, hasCopy));
        outages.push_back(credentials(prefix + "RemoveUnavailable", CredentialCall::remove,
                                      CredentialStatus::unavailable, hasCopy));
        outages.push_back(credentials(prefix + "RemoveNotFound", CredentialCall::remove,
                                      CredentialStatus::itemNotFound, hasCopy));
    }
    // Only the copy's own thread may be held up.
    outages.push_back(credentials("CopiedAddHangs", CredentialCall::add, std::nullopt, true));
    outages.push_back(credentials("CopiedReadHangs", CredentialCall::read, std::nullopt, true));
    outages.push_back(credentials("CopiedRemoveHangs", CredentialCall::remove, std::nullopt, true));
    return outages;
}

/// What one failure may take away. All else comes true when it is tried again.
std::vector<std::string> mayBeMissed(const Outage& outage) {
    if (outage.credentials) {
        return {"restore"};
    }
    if (outage.settings) {
        return {"restore", "keep the sign-in"};
    }
    using Call = FailingAudioInput::Failure::Call;
    // Who has refused the microphone, or waits for long, has ended the stream.
    const bool mayEndStream =
        outage.socket || outage.permission || (outage.audio && outage.audio->call == Call::capture);
    return mayEndStream ? std::vector<std::string>{"get the microphone back"}
                        : std::vector<std::string>{};
}

class StreamStoryTest : public testing::TestWithParam<std::tuple<Outage, Lasting>> {
protected:
    [[nodiscard]] static Outage outage() {
        Outage outage = std::get<Outage>(GetParam());
        if (outage.credentials && !outage.credentials->status) {
            outage.credentials->gate = std::make_shared<Gate>();
        }
        return outage;
    }
};

TEST(StreamStoryTest, IsToldToItsEndWhenNothingFails) {
    for (const bool hasCopy : {false, true}) {
        Outage none{"None"};
        none.hasCredentialCopy = hasCopy;
        const Telling telling(none, 0, Lasting::once);
        EXPECT_THAT(telling.missed, IsEmpty());
        EXPECT_THAT(telling.violations, IsEmpty());
    }
}

/// One more call may go wrong each time, until none does any more.
TEST_P(StreamStoryTest, KeepsAStateThatMakesSenseWhicheverCallFails) {
    const Lasting lasting = std::get<Lasting>(GetParam());
    constexpr std::size_t more = 400;
    for (std::size_t number = 1; number < more; ++number) {
        SCOPED_TRACE("call " + std::to_string(number));
        const Outage failing = outage();
        const Telling telling(failing, number, lasting);
        EXPECT_THAT(telling.violations, IsEmpty()) << telling.record;
        if (!telling.nth.hasFailed()) {
            EXPECT_GT(number, 1U) << "no call ever fails";
            EXPECT_THAT(telling.missed, IsEmpty()) << telling.record;
            return;
        }
        if (lasting == Lasting::once) {
            EXPECT_THAT(telling.missed, IsSubsetOf(mayBeMissed(failing))) << telling.record;
        }
        if (HasFailure()) {
            return;
        }
    }
    ADD_FAILURE() << "more calls than any story makes";
}

std::string nameOf(const testing::TestParamInfo<std::tuple<Outage, Lasting>>& info) {
    return std::get<Outage>(info.param).name +
           (std::get<Lasting>(info.param) == Lasting::once ? "Once" : "FromThenOn");
}

const auto lastings = testing::Values(Lasting::once, Lasting::fromThenOn);

INSTANTIATE_TEST_SUITE_P(Http, StreamStoryTest,
                         testing::Combine(testing::ValuesIn(httpOutages()), lastings), nameOf);
INSTANTIATE_TEST_SUITE_P(Socket, StreamStoryTest,
                         testing::Combine(testing::ValuesIn(socketOutages()), lastings), nameOf);
INSTANTIATE_TEST_SUITE_P(Audio, StreamStoryTest,
                         testing::Combine(testing::ValuesIn(audioOutages()), lastings), nameOf);
INSTANTIATE_TEST_SUITE_P(Permission, StreamStoryTest,
                         testing::Combine(testing::ValuesIn(permissionOutages()), lastings),
                         nameOf);
INSTANTIATE_TEST_SUITE_P(Settings, StreamStoryTest,
                         testing::Combine(testing::ValuesIn(settingsOutages()), lastings), nameOf);
INSTANTIATE_TEST_SUITE_P(Credentials, StreamStoryTest,
                         testing::Combine(testing::ValuesIn(credentialOutages()), lastings),
                         nameOf);

} // namespace
} // namespace tandrel::test
