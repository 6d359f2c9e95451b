#include "Doctor/AccountFindings.h"
#include "Doctor/DesktopFindings.h"
#include "Doctor/SoundFindings.h"

#include <gmock/gmock.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace tandrel::doctor {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

/// What people and exit codes see of a finding.
struct Verdict {
    Mark mark;
    std::string text;

    friend bool operator==(const Verdict&, const Verdict&) = default;
};
void PrintTo(const Verdict& verdict, std::ostream* stream) {
    *stream << static_cast<int>(verdict.mark) << " \"" << verdict.text << '"';
}
Verdict verdictOn(const Finding& finding) {
    return {finding.mark, finding.text};
}

std::optional<std::string> textFact(const Finding& finding, const std::string& name) {
    for (const auto& [key, value] : finding.facts) {
        if (key == name) {
            return std::get<std::string>(value);
        }
    }
    return std::nullopt;
}

HttpOutcome answer(int status) {
    return HttpResponse{status, "the body"};
}
HttpOutcome failure(const std::string& description) {
    return TransportError{TransportError::Kind::other, description};
}

TEST(DoctorFindings, TheBackendIsThereWhenItRefusesAQuestionWithoutASignIn) {
    EXPECT_EQ(verdictOn(backendFinding(answer(401), 12ms)),
              (Verdict{Mark::ok, "answers after 12 ms"}));
    EXPECT_EQ(verdictOn(backendFinding(answer(503), 12ms)),
              (Verdict{Mark::failed, "does not work at the moment (HTTP 503)"}));
    for (const int status : {200, 302, 404}) {
        EXPECT_EQ(verdictOn(backendFinding(answer(status), 12ms)),
                  (Verdict{Mark::failed, "something else answers in its place (HTTP " +
                                             std::to_string(status) + ")"}));
    }
    EXPECT_EQ(verdictOn(backendFinding(failure("The server could not be found."), 12ms)),
              (Verdict{Mark::failed, "The server could not be found."}));
}

TEST(DoctorFindings, ACertificateIsAcceptedOrTheReasonIsSaid) {
    CertificateLook look{true, "", "Test Authority", "2030-01-31", ""};
    EXPECT_EQ(verdictOn(certificateFinding(look)),
              (Verdict{Mark::ok, "issued by Test Authority, valid until 2030-01-31"}));
    look.proxy = "proxy.test:3128";
    EXPECT_EQ(verdictOn(certificateFinding(look)),
              (Verdict{Mark::ok, "issued by Test Authority, valid until 2030-01-31, through the "
                                 "proxy proxy.test:3128"}));
    EXPECT_EQ(textFact(certificateFinding(look), "issuer"), "Test Authority");
    look = {true, "The certificate has expired", "Test Authority", "2020-12-31", ""};
    EXPECT_EQ(verdictOn(certificateFinding(look)),
              (Verdict{Mark::failed, "The certificate has expired (issued by Test Authority, "
                                     "valid until 2020-12-31)"}));
    EXPECT_EQ(textFact(certificateFinding(look), "error"), "The certificate has expired");
    look = {true, "Connection refused", "", "", ""};
    EXPECT_EQ(verdictOn(certificateFinding(look)),
              (Verdict{Mark::failed, "not seen: Connection refused"}));
    look = {false, "", "", "", ""};
    EXPECT_EQ(verdictOn(certificateFinding(look)),
              (Verdict{Mark::noted, "none: plain HTTP, within this machine"}));
}

TEST(DoctorFindings, OfTheKeyringItIsSaidWhetherItCanBeUsedAsItIs) {
    using State = KeyringLook::State;
    const auto stateOf = [](State state) { return keyringFinding({state, false, {}}); };
    EXPECT_EQ(stateOf(State::unlocked).mark, Mark::ok);
    EXPECT_EQ(stateOf(State::locked).mark, Mark::noted);
    EXPECT_EQ(stateOf(State::missing).mark, Mark::noted);
    EXPECT_EQ(stateOf(State::unreachable).mark, Mark::noted);
    EXPECT_EQ(textFact(stateOf(State::unlocked), "state"), "unlocked");
    EXPECT_EQ(textFact(stateOf(State::locked), "state"), "locked");
    EXPECT_EQ(textFact(stateOf(State::missing), "state"), "missing");
    EXPECT_EQ(textFact(stateOf(State::unreachable), "state"), "unreachable");
}

TEST(DoctorFindings, OnlyATokenThatTheBackendAcceptsIsASignIn) {
    using State = KeyringLook::State;
    const KeyringLook stored{State::unlocked, true, "secret-token"};
    const KeyringLook locked{State::locked, true, {}};
    const KeyringLook none{State::unlocked, false, {}};
    struct Case {
        KeyringLook keyring;
        bool hasProfile;
        std::optional<HttpOutcome> validation;
        Verdict verdict;
    };
    const std::vector<Case> cases{
        {stored, true, answer(200), {Mark::ok, "the backend accepts it"}},
        {stored, true, answer(401), {Mark::failed, "the backend refuses it: sign in again"}},
        {stored, true, answer(500), {Mark::failed, "stored, but could not be tried (HTTP 500)"}},
        {stored, true, failure("Gone."), {Mark::failed, "stored, but could not be tried: Gone."}},
        {stored, true, std::nullopt, {Mark::failed, "stored, but not tried"}},
        {stored,
         false,
         std::nullopt,
         {Mark::failed, "stored, but the profile is missing: sign in again"}},
        {locked, true, std::nullopt, {Mark::failed, "stored, but the keyring is locked"}},
        {none, true, std::nullopt, {Mark::failed, "nobody is signed in"}},
        {KeyringLook{}, true, std::nullopt, {Mark::failed, "cannot be told without a keyring"}},
    };
    for (const Case& example : cases) {
        const Finding finding =
            signInFinding(example.keyring, example.hasProfile, example.validation);
        EXPECT_EQ(verdictOn(finding), example.verdict);
        EXPECT_THAT(finding.text, Not(HasSubstr("secret")));
    }
}

SurveyedInput input(std::optional<InputLoudness> loudness, bool isMuted = false) {
    SurveyedInput made;
    made.name = "Headset";
    made.uid = "usb.headset";
    made.isMuted = isMuted;
    made.loudness = loudness;
    return made;
}

Findings soundWith(std::vector<SurveyedInput> inputs, bool wasListening = true) {
    return soundFindings(InputSurvey{"pulseaudio", "16.1", std::move(inputs)}, wasListening);
}

TEST(DoctorFindings, AMicrophoneIsHeardSilentOrDead) {
    SurveyedInput dead = input(std::nullopt);
    dead.problem = "No sound arrives";
    const Findings findings =
        soundWith({input(InputLoudness{0.01F, 0.1F}), input(InputLoudness{0, 0}),
                   input(InputLoudness{0, 0}, true), dead, input(std::nullopt, true)});
    ASSERT_EQ(findings.size(), 7U);
    EXPECT_EQ(verdictOn(findings[0]), (Verdict{Mark::ok, "PulseAudio 16.1"}));
    EXPECT_EQ(verdictOn(findings[1]), (Verdict{Mark::ok, "5, sound from 1"}));
    EXPECT_EQ(verdictOn(findings[2]), (Verdict{Mark::ok, "-40.0 dBFS, peak -20.0 dBFS"}));
    EXPECT_EQ(verdictOn(findings[3]), (Verdict{Mark::noted, "silence: is it switched off?"}));
    EXPECT_EQ(verdictOn(findings[4]), (Verdict{Mark::noted, "silence: it is muted"}));
    EXPECT_EQ(verdictOn(findings[5]), (Verdict{Mark::noted, "No sound arrives"}));
    EXPECT_EQ(verdictOn(findings[6]), (Verdict{Mark::noted, "no sound: it is muted"}));
    EXPECT_TRUE(findings[5].isDetail);
}

TEST(DoctorFindings, WithoutAnySoundStreamingIsOfNoUse) {
    EXPECT_EQ(verdictOn(soundWith({})[1]), (Verdict{Mark::failed, "none"}));
    EXPECT_EQ(verdictOn(soundWith({input(InputLoudness{0, 0})})[1]),
              (Verdict{Mark::failed, "1, but it gives no sound"}));
    EXPECT_EQ(verdictOn(soundWith({input(std::nullopt), input(std::nullopt)})[1]),
              (Verdict{Mark::failed, "2, but none gives any sound"}));
}

TEST(DoctorFindings, WhatWasNotListenedToIsNotJudged) {
    const Findings findings = soundWith({input(std::nullopt)}, false);
    EXPECT_EQ(verdictOn(findings[1]), (Verdict{Mark::noted, "1, not listened to"}));
    EXPECT_EQ(verdictOn(findings[2]), (Verdict{Mark::noted, "not listened to"}));
}

TEST(DoctorFindings, WithoutASoundServerThereIsNoMicrophone) {
    const Findings findings = soundFindings(std::string("Connection refused"), true);
    ASSERT_EQ(findings.size(), 2U);
    EXPECT_EQ(verdictOn(findings[0]),
              (Verdict{Mark::failed, "cannot be used: Connection refused"}));
    EXPECT_EQ(verdictOn(findings[1]), (Verdict{Mark::failed, "none"}));
}

TEST(DoctorFindings, APipeWireServerIsCalledOne) {
    const Finding server =
        soundFindings(InputSurvey{"PulseAudio (on PipeWire 0.3.65)", "15.0.0", {}}, true).front();
    EXPECT_EQ(server.text, "PulseAudio (on PipeWire 0.3.65)");
    EXPECT_EQ(textFact(server, "kind"), "PipeWire");
}

TEST(DoctorFindings, LevelsAreRelativeToFullScale) {
    EXPECT_EQ(decibelText(1.0F), "0.0 dBFS");
    EXPECT_EQ(decibelText(0.5F), "-6.0 dBFS");
    EXPECT_EQ(decibelText(2.0F), "6.0 dBFS");
}

TEST(DoctorFindings, AMicrophoneThatTheDesktopKeepsBackIsAFailure) {
    EXPECT_EQ(permissionFinding(AuthorizationStatus::authorized).mark, Mark::ok);
    // Nobody was asked yet: the answer is the user's to give.
    EXPECT_EQ(permissionFinding(AuthorizationStatus::notDetermined).mark, Mark::ok);
    EXPECT_EQ(permissionFinding(AuthorizationStatus::denied).mark, Mark::failed);
    EXPECT_EQ(permissionFinding(AuthorizationStatus::restricted).mark, Mark::failed);
}

TEST(DoctorFindings, ADesktopWithoutBusOrTrayStillStreams) {
    const auto marksAndTexts = [](const DesktopLook& look) {
        const Findings findings = desktopFindings(look);
        return std::vector<Verdict>{verdictOn(findings[0]), verdictOn(findings[1])};
    };
    EXPECT_THAT(marksAndTexts({true, false, true, true}),
                ElementsAre(Verdict{Mark::ok, "the program is not running"},
                            Verdict{Mark::ok, "StatusNotifierItem"}));
    EXPECT_THAT(
        marksAndTexts({true, true, false, true}),
        ElementsAre(Verdict{Mark::ok, "the program is running"}, Verdict{Mark::ok, "XEmbed"}));
    const auto without = marksAndTexts({});
    EXPECT_EQ(without[0].mark, Mark::noted);
    EXPECT_EQ(without[1], (Verdict{Mark::noted, "none: the program shows a window"}));
}

TEST(DoctorFindings, LinksAreOursWhenOurDesktopFileOpensThem) {
    EXPECT_EQ(verdictOn(linksFinding("com.quorvane.Tandrel.desktop")),
              (Verdict{Mark::ok, "quorvane-tandrel:// opens this program"}));
    EXPECT_EQ(verdictOn(linksFinding("")),
              (Verdict{Mark::noted, "nothing opens quorvane-tandrel://"}));
    EXPECT_EQ(verdictOn(linksFinding("other.desktop")),
              (Verdict{Mark::noted, "quorvane-tandrel:// is opened by other.desktop"}));
    EXPECT_EQ(linksFinding(std::nullopt).mark, Mark::noted);
}

TEST(DoctorFindings, TheLogIsThereOrCanBeMade) {
    EXPECT_EQ(verdictOn(logFinding({"/x/log", 999, true})),
              (Verdict{Mark::ok, "/x/log, 999 bytes"}));
    EXPECT_EQ(verdictOn(logFinding({"/x/log", 12'300, true})),
              (Verdict{Mark::ok, "/x/log, 12.3 kB"}));
    EXPECT_EQ(verdictOn(logFinding({"/x/log", 4'560'000, true})),
              (Verdict{Mark::ok, "/x/log, 4.6 MB"}));
    EXPECT_EQ(verdictOn(logFinding({"/x/log", {}, true})),
              (Verdict{Mark::ok, "/x/log, not there yet"}));
    EXPECT_EQ(verdictOn(logFinding({"/x/log", {}, false})),
              (Verdict{Mark::noted, "/x/log, not there yet, cannot be written"}));
}

} // namespace
} // namespace tandrel::doctor
