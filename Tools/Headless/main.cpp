#include "AppState.h"
#include "ConsoleInput.h"
#include "DebugLog.h"
#include "Foundation/Console.h"
#include "Foundation/CoreDumps.h"
#include "Foundation/SharedHeap.h"
#include "HeadlessRun.h"
#include "MemoryStores.h"
#include "Options.h"
#include "Platform/CachedCredentialStore.h"
#include "Platform/GLib/PrivacySwitch.h"
#include "Platform/Linux/SystemMicrophonePermission.h"
#include "Platform/PulseAudio/PulseAudioInput.h"
#include "Platform/Qt/Departure.h"
#include "Platform/Qt/EventLoops.h"
#include "Platform/Qt/ProcessExit.h"
#include "Platform/Qt/QtClock.h"
#include "Platform/Qt/QtHttpTransport.h"
#include "Platform/Qt/QtMainQueue.h"
#include "Platform/Qt/SettingsUserDefaults.h"
#include "Platform/Qt/TerminationSignals.h"
#include "Platform/SecretService/SecretServiceStore.h"
#include "Platform/WebSocket/QtStreamSocket.h"
#include "RecordingStreamSocket.h"
#include "Services/APIClient.h"
#include "Services/AudioCaptureService.h"
#include "Services/KeychainService.h"
#include "Views/MenuBarContentController.h"

#include <QCoreApplication>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace tandrel::headless {
namespace {

std::vector<std::string> argumentsOf(int argc, char** argv) {
    return {argv, argv + argc};
}

int listDevices(AudioCaptureService& audio) {
    audio.refreshDevices();
    for (const AudioDevice& device : audio.availableDevices.value()) {
        const std::string line = printable(device.uid) + '\t' + printable(device.name);
        std::puts(line.c_str());
    }
    if (audio.availableDevices.value().empty()) {
        std::fprintf(stderr, "No input devices found\n");
        return static_cast<int>(ExitCode::noDevice);
    }
    return static_cast<int>(ExitCode::success);
}

int run(const Options& options) {
    QtMainQueue mainQueue;
    QtClock clock;
    QtHttpTransport transport;
    QtStreamSocket socket(mainQueue);
    PulseAudioInput audioInput(mainQueue);
    SystemMicrophonePermission permission(mainQueue, clock, isMicrophoneSwitchedOff);

    std::unique_ptr<CredentialStore> secrets;
    std::unique_ptr<UserDefaults> memoryDefaults;
    std::unique_ptr<SettingsUserDefaults> settings;
    if (options.ephemeral) {
        secrets = std::make_unique<NoCredentialStore>();
        memoryDefaults = std::make_unique<MemoryUserDefaults>();
    } else {
        secrets = std::make_unique<SecretServiceStore>();
        settings = std::make_unique<SettingsUserDefaults>();
    }
    UserDefaults& userDefaults = settings ? static_cast<UserDefaults&>(*settings) : *memoryDefaults;
    CachedCredentialStore credentials(std::move(secrets), mainQueue);
    KeychainService keychain(credentials);

    APIClient apiClient(options.backendBaseURL, transport, keychain, clock);
    AudioCaptureService audio(audioInput, permission, mainQueue);
    if (options.listDevices) {
        return listDevices(audio);
    }

    const auto record = std::make_shared<SendRecord>(options.recordPath);
    RecordingStreamSocket recordingSocket(socket, record);
    MenuBarContentController content(
        {apiClient, audio, keychain, userDefaults, recordingSocket, AppState::shared(), clock},
        [&credentials](CachedCredentialStore::LoadCompletion done) {
            return credentials.load(KeychainService::items(), std::move(done));
        });

    int code = 0;
    if (options.signOut) {
        content.authService().logout();
    } else {
        Handle ending;
        HeadlessRun headless(options, {content, AppState::shared(), clock, *record},
                             [&clock, &ending](ExitCode exitCode) {
                                 // In a later turn: the loop may not run yet.
                                 ending = clock.after(Clock::Duration::zero(), [exitCode] {
                                     QCoreApplication::exit(static_cast<int>(exitCode));
                                 });
                             });
        const ConsoleInput input(
            [&headless](std::string line) { headless.handleLine(std::move(line)); });
        const TerminationSignals signals([&headless] { headless.interrupt(); });
        headless.start();
        code = QCoreApplication::exec();
    }

    content.shutdown();
    settleBeforeLeaving(socket, settings.get(), credentials);
    if (options.recordPath && !record->close()) {
        std::fprintf(stderr, "The record could not be written to %s\n",
                     options.recordPath->c_str());
    }
    return code;
}

} // namespace
} // namespace tandrel::headless

int main(int argc, char** argv) {
    using namespace tandrel;
    const headless::ParsedOptions parsed =
        headless::parseOptions(headless::argumentsOf(argc, argv));
    if (!parsed.options) {
        std::fputs(parsed.text.c_str(), parsed.isError ? stderr : stdout);
        return parsed.isError ? static_cast<int>(headless::ExitCode::usage) : 0;
    }
    refuseCoreDumps();
    shareOneHeap();
    DebugLog::createDirectory();
    usePlainEventLoops(PlainLoops::everywhere);
    const QCoreApplication application(argc, argv);
    leaveProcess(headless::run(*parsed.options));
}
