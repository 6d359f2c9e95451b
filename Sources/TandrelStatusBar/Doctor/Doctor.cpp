#include "Doctor/Doctor.h"

#include "BuildConfig.h"
#include "DebugLog.h"
#include "Doctor/DesktopLook.h"
#include "Doctor/Examination.h"
#include "Doctor/Report.h"
#include "Doctor/SoundFindings.h"
#include "Platform/GLib/PrivacySwitch.h"
#include "Platform/Linux/XdgAutostart.h"
#include "Platform/PulseAudio/InputSurvey.h"
#include "Platform/Qt/SettingsUserDefaults.h"
#include "Services/AuthService.h"
#include "Services/KeychainService.h"

#include <QtGlobal>

#include <chrono>
#include <cstdio>
#include <future>
#include <memory>
#include <optional>
#include <utility>

namespace tandrel::doctor {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr seconds examinationLimit(10);
/// One after the other for a sign-in: the two together leave time to report.
constexpr milliseconds keyringLimit(3500);
constexpr milliseconds networkLimit(5500);
constexpr seconds listeningTime(1);

Finding unanswered(const char* id, const char* title, Mark mark) {
    return {id, title, mark, "does not answer"};
}

Check backendCheck(const BackendAddress& backend) {
    return {{unanswered("backend", "Backend", Mark::failed)}, [backend] {
                const auto start = steady_clock::now();
                const HttpOutcome outcome = askWhoIsSignedIn(backend, {}, networkLimit);
                const auto duration =
                    std::chrono::duration_cast<milliseconds>(steady_clock::now() - start);
                return Findings{backendFinding(outcome, duration)};
            }};
}

Check certificateCheck(const BackendAddress& backend) {
    return {{unanswered("certificate", "Certificate", Mark::failed)}, [backend] {
                return Findings{certificateFinding(lookAtCertificate(backend, networkLimit))};
            }};
}

/// What the check of the keyring hands to that of the sign-in.
using KeyringNews = std::shared_ptr<std::promise<KeyringLook>>;

Check keyringCheck(const KeyringNews& news) {
    return {{unanswered("keyring", "Keyring", Mark::noted)}, [news] {
                const KeyringLook look =
                    lookIntoKeyring(KeychainService::service,
                                    KeychainService::account(KeychainService::Key::accessToken));
                news->set_value(look);
                return Findings{keyringFinding(look)};
            }};
}

Check signInCheck(const BackendAddress& backend, const KeyringNews& news) {
    const std::shared_future<KeyringLook> keyring = news->get_future().share();
    return {{unanswered("sign_in", "Sign-in", Mark::failed)}, [backend, keyring] {
                const KeyringLook look = keyring.wait_for(keyringLimit) == std::future_status::ready
                                             ? keyring.get()
                                             : KeyringLook{};
                const bool hasProfile =
                    SettingsUserDefaults().data(AuthService::cachedUserKey).has_value();
                std::optional<HttpOutcome> validation;
                if (look.value && hasProfile) {
                    validation = askWhoIsSignedIn(backend, *look.value, networkLimit);
                }
                return Findings{signInFinding(look, hasProfile, validation)};
            }};
}

Check soundCheck() {
    return {{unanswered("microphone_permission", "Permission", Mark::noted),
             unanswered("sound_server", "Sound server", Mark::failed)},
            [] {
                const bool listens = !isMicrophoneSwitchedOff();
                Findings findings =
                    soundFindings(surveyInputs(listens ? listeningTime : seconds(0)), listens);
                findings.insert(findings.begin(),
                                permissionFinding(listens ? AuthorizationStatus::authorized
                                                          : AuthorizationStatus::denied));
                return findings;
            }};
}

Check desktopCheck() {
    return {{unanswered("session_bus", "Session bus", Mark::noted),
             unanswered("tray", "Tray", Mark::noted)},
            [] { return desktopFindings(lookAtDesktop()); }};
}

Check linksCheck() {
    return {{unanswered("url_scheme", "Links", Mark::noted)},
            [] { return Findings{linksFinding(linkHandler())}; }};
}

Check loginStartCheck() {
    const auto loginStart = std::make_shared<XdgAutostart>();
    return {{unanswered("start_at_login", "Start at login", Mark::noted)},
            [loginStart] { return Findings{loginStartFinding(loginStart->look().isOn)}; }};
}

Check logCheck() {
    return {{unanswered("log", "Log", Mark::noted)},
            [path = DebugLog::path()] { return Findings{logFinding(lookAtLog(path))}; }};
}

} // namespace

Findings examineSystem(const BackendAddress& backend) {
    const auto keyring = std::make_shared<std::promise<KeyringLook>>();
    return examine({backendCheck(backend), certificateCheck(backend), keyringCheck(keyring),
                    signInCheck(backend, keyring), soundCheck(), desktopCheck(), linksCheck(),
                    loginStartCheck(), logCheck()},
                   examinationLimit);
}

int runDoctor(const std::string& backendURL, Format format) {
    const Program program{std::string(config::version), qVersion(), backendURL};
    const Findings findings = examineSystem({backendURL, {}});
    const std::string report = format == Format::json
                                   ? jsonReport(program, findings)
                                   : textReport(program, findings, glyphsForStandardOutput());
    std::fwrite(report.data(), 1, report.size(), stdout);
    return isReady(findings) ? 0 : 1;
}

} // namespace tandrel::doctor
