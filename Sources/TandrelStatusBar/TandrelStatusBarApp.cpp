#include "TandrelStatusBarApp.h"

#include "AppContent.h"
#include "AppState.h"
#include "BuildConfig.h"
#include "DebugLog.h"
#include "LoadedUpdater.h"
#include "LoginStartEntry.h"
#include "Platform/Desktop/ColorSchemeFollower.h"
#include "Platform/Desktop/KeyringWatch.h"
#include "Platform/Desktop/ManagerSelections.h"
#include "Platform/Desktop/PopoverPlacement.h"
#include "Platform/Desktop/PopoverWindow.h"
#include "Platform/Desktop/ScreenWatch.h"
#include "Platform/Desktop/TrayStatusItem.h"
#include "Platform/Desktop/WindowActivation.h"
#include "Platform/Linux/XdgAutostart.h"
#include "Views/Controls/StatusIcon.h"
#include "Views/Controls/Symbol.h"

#include <QApplication>
#include <QCursor>
#include <QMessageBox>
#include <QScreen>

#include <chrono>
#include <utility>

namespace tandrel {

namespace {

/// How long a tray may take to appear before the popover shows itself as a window.
constexpr std::chrono::seconds trayLimit(3);
/// When the content's library is loaded: after the icon is there, before anybody clicks it.
constexpr std::chrono::seconds loadDelay(1);
/// For a switch that was moved just before the end.
constexpr std::chrono::milliseconds loginStartLimit(200);
constexpr const char* compositorSelection = "_NET_WM_CM_S";

bool isX11() {
    return QGuiApplication::platformName() == QStringLiteral("xcb");
}

bool isWayland() {
    return QGuiApplication::platformName().startsWith(QStringLiteral("wayland"));
}

void quit() {
    // Not quit(): that asks every window to close first.
    QCoreApplication::exit(0);
}

/// Closes by itself; the program goes on, for a new installation may follow.
void tellOfDamage() {
    auto* const message =
        new QMessageBox(QMessageBox::Critical, QStringLiteral("Quorvane Tandrel"),
                        QStringLiteral("A part of the program is missing"), QMessageBox::Ok);
    message->setAttribute(Qt::WA_DeleteOnClose);
    message->setInformativeText(QStringLiteral("Please install it again."));
    message->setModal(false);
    message->show();
}

} // namespace

TandrelStatusBarApp::InitLine::InitLine() {
    DebugLog::write("[App] init");
}

TandrelStatusBarApp::TandrelStatusBarApp(Addresses addresses, Start start,
                                         const QDBusConnection& sessionBus)
    : addresses_(std::move(addresses))
    , sessionBus_(sessionBus)
    , delegate_(AppState::shared(), clock_,
                {[this] { activate(); }, [this] { return statusItem_ != nullptr; },
                 [this] { openPopover(); }})
    , loginStart_(std::make_unique<XdgAutostart>(), mainQueue_) {
    AppState::shared().updaterController = std::make_unique<LoadedUpdater>(
        UpdaterRequest{addresses_.updateFeedURL, addresses_.updatePublicKey,
                       std::string(config::version), clock_, urlOpener_},
        contentModule_);
    if (isX11()) {
        selections_ = std::make_unique<ManagerSelections>(
            std::vector<std::string>{TrayStatusItem::traySelection, compositorSelection});
    }
    createStatusItem(start, sessionBus);
    // Asked in good time, so that the form knows when it first opens.
    keyring_ = std::make_unique<KeyringWatch>(sessionBus);
    loading_ = clock_.after(loadDelay, [this] { (void)contentModule_.load(); });
}

TandrelStatusBarApp::~TandrelStatusBarApp() {
    AppState::shared().updaterController.reset();
}

void TandrelStatusBarApp::createStatusItem(Start start, const QDBusConnection& sessionBus) {
    statusItem_ = std::make_unique<TrayStatusItem>(
        StatusItem::Handlers{[this] { clicked(); }, [this] { openPopover(); }, quit,
                             [this](bool isPresent) {
                                 if (isPresent) {
                                     trayLimit_.reset();
                                 }
                             }},
        statusIcon, [this](QMenu& menu) { new LoginStartEntry(menu, loginStart_); }, sessionBus,
        selections_.get());
    statusItem_->setToolTip(QStringLiteral("Quorvane Tandrel"));
    if (start == Start::byUser) {
        trayLimit_ = clock_.after(trayLimit, [this] { openPopover(); });
    }
}

bool TandrelStatusBarApp::createContent() {
    loading_.reset();
    content_ = contentModule_.makeContent({
        addresses_.backendBaseURL,
        addresses_.webAppBaseURL,
        addresses_.siteBaseURL,
        AppState::shared(),
        clock_,
        urlOpener_,
        [] { AppState::shared().updaterController->checkForUpdates(); },
        quit,
    });
    if (!content_) {
        tellOfDamage();
        return false;
    }
    QApplication::setWindowIcon(
        QIcon::fromTheme(QStringLiteral("com.quorvane.Tandrel"), QIcon(applicationImage(48, 2.0))));
    colors_ = std::make_unique<ColorSchemeFollower>(sessionBus_);
    popover_ = std::make_unique<PopoverWindow>(
        content_->makeCard(), [this] { return hasCompositor(); },
        [this](bool isVisible) { return content_->setShadowVisible(isVisible); });
    QObject::connect(popover_.get(), &PopoverWindow::closedByDeactivation, popover_.get(),
                     [this] { toggle_.closedByItself(PopoverToggle::TimePoint::clock::now()); });
    screens_ = std::make_unique<ScreenWatch>();
    QObject::connect(screens_.get(), &ScreenWatch::changed, popover_.get(),
                     [this] { popover_->follow(situation()); });
    content_->setOnStatus([this](const AppContent::Status& status) {
        statusItem_->setToolTip(QString::fromStdString(status.text));
        statusItem_->setMicrophoneOpen(status.isMicrophoneOpen);
    });
    observeKeyring();
    return true;
}

void TandrelStatusBarApp::observeKeyring() {
    const auto tell = [this] {
        if (const auto isThere = keyring_->isThere()) {
            content_->keyringChanged(*isThere);
        }
    };
    QObject::connect(keyring_.get(), &KeyringWatch::changed, popover_.get(), tell);
    QObject::connect(keyring_.get(), &KeyringWatch::appeared, popover_.get(),
                     [this] { content_->keyringAppeared(); });
    tell();
}

void TandrelStatusBarApp::perform(const AppCommand& command, const std::string& activationToken) {
    useActivationToken(activationToken);
    switch (command.kind) {
    case AppCommand::Kind::openURL:
        delegate_.open({command.url});
        break;
    case AppCommand::Kind::start:
        delegate_.start();
        break;
    case AppCommand::Kind::stop:
        delegate_.stop();
        break;
    case AppCommand::Kind::show:
        openPopover();
        break;
    case AppCommand::Kind::quit:
        quit();
        break;
    }
}

void TandrelStatusBarApp::clicked() {
    // A StatusNotifierItem does not know where it is; the pointer is on it now.
    if (isX11()) {
        lastClick_ = QCursor::pos();
    }
    const bool isOpen = popover_ && popover_->isVisible();
    switch (toggle_.clicked(isOpen, PopoverToggle::TimePoint::clock::now())) {
    case PopoverToggle::Reaction::open:
        openPopover();
        break;
    case PopoverToggle::Reaction::close:
        popover_->close();
        break;
    case PopoverToggle::Reaction::none:
        break;
    }
}

void TandrelStatusBarApp::openPopover() {
    trayLimit_.reset();
    if (!popover_ && !createContent()) {
        return;
    }
    popover_->open(statusItem_->isPresent() ? PopoverWindow::Kind::popover
                                            : PopoverWindow::Kind::window,
                   situation());
}

void TandrelStatusBarApp::activate() {
    if (popover_ && popover_->isVisible()) {
        activateBeforeOthers(*popover_);
    }
}

PopoverSituation TandrelStatusBarApp::situation() const {
    PopoverSituation situation;
    situation.trayIcon = statusItem_->geometry();
    situation.cursor = lastClick_;
    for (const QScreen* const screen : QGuiApplication::screens()) {
        situation.screens.append({screen->geometry(), screen->availableGeometry()});
    }
    return situation;
}

bool TandrelStatusBarApp::hasCompositor() const {
    return isWayland() || (selections_ && selections_->isOwnedNow(compositorSelection));
}

void TandrelStatusBarApp::shutDown() {
    trayLimit_.reset();
    loading_.reset();
    if (popover_) {
        popover_->hide();
    }
    if (content_) {
        content_->setOnStatus({});
    }
    AppState::shared().updaterController.reset();
    keyring_.reset();
    statusItem_.reset();
    loginStart_.flush(loginStartLimit);
    if (content_) {
        content_->shutDown();
    }
}

} // namespace tandrel
