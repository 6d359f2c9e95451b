#pragma once

#include "Foundation/Handle.h"
#include "Foundation/Published.h"
#include "Platform/Qt/QtMainQueue.h"
#include "Platform/UpdaterController.h"
#include "Services/UpdatePage.h"
#include "Services/UpdateSchedule.h"

#include <memory>
#include <string>

namespace tandrel {

class Clock;
class SettingsUserDefaults;
class UpdateWindow;
class UrlOpener;

/// The program's updates: the check on demand with its window, and the daily one in the background,
/// which shows a window only for a new version that was not skipped. It works from its making on;
/// services and window are made for a check and go once nobody looks at its outcome any more. Main
/// thread.
class AppUpdater : public UpdaterController {
public:
    struct Options {
        /// Empty: the system's package manager keeps the program current, as the window then says.
        std::string feedURL;
        /// 32 bytes in base 64.
        std::string publicKey;
        std::string installedVersion;
    };

    /// Clock and opener must outlive this.
    AppUpdater(Options options, Clock& clock, UrlOpener& urlOpener);
    /// Ends what is under way, and waits, at most 0.1 s, until nothing of it is left on the disk
    /// and the answers are stored.
    ~AppUpdater() override;

    void checkForUpdates() override;

private:
    struct Session;
    enum class Place { background, inFront };

    [[nodiscard]] SettingsUserDefaults& settings();
    [[nodiscard]] UpdatePreferences preferences();
    Session& session();
    void makeSession();
    void endSession();

    void checkInBackground();
    void ask();
    void stateChanged(const UpdateState& state);
    void backgroundCheckEnded(const UpdateState& state);
    void showPage(const UpdatePage& page, Place place);
    void perform(UpdateAction action);
    void setChecksDaily(bool checks);
    void windowClosed();

    const Options options_;
    Clock& clock_;
    UrlOpener& urlOpener_;
    UpdateContext context_;
    /// Outlives all disk work.
    QtMainQueue mainQueue_;
    std::unique_ptr<SettingsUserDefaults> settings_;
    UpdateSchedule schedule_;
    std::unique_ptr<Session> session_;
    std::unique_ptr<UpdateWindow> window_;
    Handle ending_;
};

} // namespace tandrel
