#include "Stage.h"

#include "BuildConfig.h"
#include "Platform/UrlOpener.h"
#include "Views/Controls/PopoverCard.h"
#include "Views/MenuBarContentView.h"

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QPixmap>
#include <QVBoxLayout>

#include <cstdint>

namespace tandrel::gallery {

class Stage::NoBrowser : public UrlOpener {
public:
    void open(const std::string& /*url*/) override {}
};

namespace {

QAbstractButton* button(const QWidget& window, const QString& name) {
    for (auto* candidate : window.findChildren<QAbstractButton*>()) {
        if (candidate->text() == name || candidate->accessibleName() == name) {
            return candidate;
        }
    }
    return nullptr;
}

} // namespace

Stage::Stage(const QColor& backdrop)
    : controller_({outside_.backend.apiClient, outside_.audioService, outside_.backend.keychain,
                   outside_.backend.userDefaults, outside_.backend.streamSocket, outside_.appState,
                   outside_.backend.clock})
    , browser_(std::make_unique<NoBrowser>()) {
    const ViewEnvironment environment{std::string(config::webAppBaseURL),
                                      std::string(config::siteBaseURL),
                                      std::string(config::version),
                                      *browser_,
                                      [] {},
                                      [] {}};
    auto* card = new PopoverCard(new MenuBarContentView(controller_, environment));
    auto* layout = new QVBoxLayout(&window_);
    layout->addWidget(card);
    QPalette palette = window_.palette();
    const QColor cardGround = palette.color(QPalette::Window);
    palette.setColor(QPalette::Window, backdrop);
    window_.setPalette(palette);
    palette.setColor(QPalette::Window, cardGround);
    card->setPalette(palette);
    window_.show();
    window_.activateWindow();
    QApplication::processEvents();
}

Stage::~Stage() = default;

void Stage::type(const std::string& email, const std::string& password) {
    const auto fields = window_.findChildren<QLineEdit*>();
    fields.at(0)->setText(QString::fromStdString(email));
    fields.at(1)->setText(QString::fromStdString(password));
}

void Stage::failSignIn(const std::string& error) {
    controller_.authService().error.set(error);
}

void Stage::forgetSignIns() {
    window_.hide();
    controller_.credentialKeeping.set(CredentialKeeping::notKept);
    window_.show();
}

void Stage::signIn(const std::string& email) {
    controller_.authService().user.set(UserProfile{"u1", email, std::nullopt, "a1"});
    controller_.authService().isAuthenticated.set(true);
}

void Stage::setDevices(const std::vector<std::string>& names) {
    std::vector<AudioDevice> devices;
    for (const std::string& name : names) {
        const auto id = static_cast<std::uint32_t>(devices.size() + 1);
        devices.push_back({id, name, "uid-" + std::to_string(id)});
    }
    AudioCaptureService& audio = controller_.audioService();
    audio.availableDevices.set(devices);
    audio.selectedDevice.set(devices.empty() ? std::nullopt : std::optional(devices.front()));
}

void Stage::setState(const SessionState& state) {
    controller_.sessionService().state.set(state);
}

void Stage::stream(float level, double seconds) {
    setState(SessionState::streaming());
    controller_.panel.value()->streamingDuration.set(seconds);
    controller_.audioService().audioLevel.set(level);
}

void Stage::setError(const std::string& error) {
    controller_.sessionService().error.set(error);
}

void Stage::setNotice(const std::string& notice) {
    controller_.panel.value()->notice.set(notice);
}

void Stage::loseConnection() {
    controller_.wsService().isReconnecting.set(true);
}

void Stage::press(const QString& name) {
    button(window_, name)->click();
}

void Stage::focus(const QString& name) {
    button(window_, name)->setFocus(Qt::TabFocusReason);
}

QImage Stage::picture() {
    window_.adjustSize();
    // Long enough for the meter's movement to end.
    QElapsedTimer shown;
    for (shown.start(); shown.elapsed() < 120;) {
        QApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return window_.grab().toImage();
}

SessionState foundSession() {
    return SessionState::sessionFound({"s1", "token", "i1"});
}

} // namespace tandrel::gallery
