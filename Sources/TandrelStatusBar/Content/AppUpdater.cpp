#include "Content/AppUpdater.h"

#include "Foundation/Base64.h"
#include "Platform/Desktop/DesktopPackageInstaller.h"
#include "Platform/Desktop/WindowActivation.h"
#include "Platform/DiskPackageStore.h"
#include "Platform/Linux/SystemVersion.h"
#include "Platform/OpenSSL/Ed25519.h"
#include "Platform/Qt/AppcastReader.h"
#include "Platform/Qt/QtHttpTransport.h"
#include "Platform/Qt/SettingsUserDefaults.h"
#include "Platform/UrlOpener.h"
#include "Services/UpdateService.h"
#include "Views/UpdateWindow.h"

#include <chrono>
#include <utility>

namespace tandrel {

namespace {

constexpr std::chrono::milliseconds diskLimit(50);

} // namespace

/// What a check and an installation take.
struct AppUpdater::Session {
    Session(const Options& options, const UpdateContext& context, Clock& clock,
            MainQueue& mainQueue)
        : packages({DiskPackageStore::defaultFolder(),
                    decodeBase64(options.publicKey).value_or(std::string()), verifyEd25519},
                   mainQueue)
        , service({options.feedURL, context.installedVersion, context.systemVersion},
                  {transport, packages, installer, clock, readAppcast}) {}

    QtHttpTransport transport;
    DiskPackageStore packages;
    DesktopPackageInstaller installer;
    UpdateService service;
    Subscription subscription;
};

AppUpdater::AppUpdater(Options options, Clock& clock, UrlOpener& urlOpener)
    : options_(std::move(options))
    , clock_(clock)
    , urlOpener_(urlOpener)
    , context_{options_.installedVersion, systemVersion(), options_.feedURL}
    , schedule_(
          clock, std::chrono::system_clock::now,
          {[this] { return preferences(); }, [this] { ask(); }, [this] { checkInBackground(); }}) {
    if (!options_.feedURL.empty()) {
        schedule_.start();
    }
}

AppUpdater::~AppUpdater() {
    window_.reset();
    if (session_) {
        session_->subscription.reset();
        // What the service gives up is what the store removes.
        session_->service.cancel();
        session_->packages.flush(diskLimit);
    }
    if (settings_) {
        settings_->flush(diskLimit);
    }
}

SettingsUserDefaults& AppUpdater::settings() {
    if (!settings_) {
        settings_ = std::make_unique<SettingsUserDefaults>();
    }
    return *settings_;
}

UpdatePreferences AppUpdater::preferences() {
    return UpdatePreferences(settings());
}

AppUpdater::Session& AppUpdater::session() {
    if (!session_) {
        makeSession();
    }
    return *session_;
}

void AppUpdater::makeSession() {
    session_ = std::make_unique<Session>(options_, context_, clock_, mainQueue_);
    session_->subscription =
        session_->service.state.observe([this](const UpdateState& state) { stateChanged(state); });
}

void AppUpdater::endSession() {
    // Later: whoever brought the news may still be at work.
    ending_ = clock_.after({}, [this] {
        window_.reset();
        session_.reset();
    });
}

void AppUpdater::checkForUpdates() {
    ending_.reset();
    UpdateService& service = session().service;
    using Kind = UpdateState::Kind;
    const bool isAsking =
        window_ && window_->isVisible() && service.state.value().kind == Kind::available;
    showPage(updatePage(service.state.value(), context_), Place::inFront);
    // A window that waits for an answer goes on to do so; anything else may be out of date.
    if (!isAsking) {
        service.check();
    }
}

void AppUpdater::checkInBackground() {
    if (window_ || session_) {
        return;
    }
    session().service.check();
}

void AppUpdater::ask() {
    if (!window_) {
        showPage(updateQuestion(context_), Place::background);
    }
}

void AppUpdater::stateChanged(const UpdateState& state) {
    using Kind = UpdateState::Kind;
    const bool feedWasRead = state.kind == Kind::upToDate || state.kind == Kind::onlyOlder ||
                             state.kind == Kind::systemTooOld || state.kind == Kind::available;
    if (feedWasRead) {
        preferences().setLastCheck(std::chrono::system_clock::now());
    }
    if (window_) {
        window_->showPage(updatePage(state, context_));
    } else if (!state.isBusy()) {
        backgroundCheckEnded(state);
    }
}

void AppUpdater::backgroundCheckEnded(const UpdateState& state) {
    const bool isNews = state.kind == UpdateState::Kind::available &&
                        state.item->version != preferences().skippedVersion();
    if (isNews) {
        showPage(updatePage(state, context_), Place::background);
    } else {
        endSession();
    }
}

void AppUpdater::showPage(const UpdatePage& page, Place place) {
    if (!window_) {
        window_ = std::make_unique<UpdateWindow>();
        QObject::connect(window_.get(), &UpdateWindow::actionRequested, window_.get(),
                         [this](UpdateAction action) { perform(action); });
        QObject::connect(window_.get(), &UpdateWindow::releaseNotesRequested, window_.get(),
                         [this] {
                             if (const auto& item = session().service.state.value().item) {
                                 urlOpener_.open(item->releaseNotesLink);
                             }
                         });
        QObject::connect(window_.get(), &UpdateWindow::checksDailyChanged, window_.get(),
                         [this](bool checks) { setChecksDaily(checks); });
        QObject::connect(window_.get(), &UpdateWindow::closed, window_.get(),
                         [this] { windowClosed(); });
        // Nobody asked for it just now: it takes no keys that were meant for something else.
        window_->setAttribute(Qt::WA_ShowWithoutActivating, place == Place::background);
    }
    const bool isQuestion = page.primary && page.primary->action == UpdateAction::agree;
    if (!options_.feedURL.empty() && !isQuestion) {
        window_->setChecksDaily(preferences().checksDaily().value_or(false));
    }
    window_->showPage(page);
    window_->show();
    if (place == Place::inFront) {
        activateBeforeOthers(*window_);
    }
}

void AppUpdater::perform(UpdateAction action) {
    switch (action) {
    case UpdateAction::install:
        session().service.install();
        break;
    case UpdateAction::checkAgain:
        session().service.check();
        break;
    case UpdateAction::cancel:
        if (session().service.state.value().kind == UpdateState::Kind::checking) {
            window_->close();
        } else {
            session().service.cancel();
        }
        break;
    case UpdateAction::skip:
        preferences().setSkippedVersion(session().service.state.value().item->version);
        window_->close();
        break;
    case UpdateAction::agree:
        setChecksDaily(true);
        window_->close();
        break;
    case UpdateAction::decline:
    case UpdateAction::close:
        window_->close();
        break;
    }
}

void AppUpdater::setChecksDaily(bool checks) {
    preferences().setChecksDaily(checks);
    schedule_.answerChanged();
}

void AppUpdater::windowClosed() {
    if (!session_ && !preferences().checksDaily()) {
        // The question was closed: nobody is asked twice.
        preferences().setChecksDaily(false);
    }
    endSession();
}

} // namespace tandrel
