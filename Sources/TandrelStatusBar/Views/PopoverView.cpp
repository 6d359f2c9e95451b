#include "Views/PopoverView.h"

#include "Platform/UrlOpener.h"
#include "Services/AudioCaptureService.h"
#include "Services/AuthService.h"
#include "Services/SessionService.h"
#include "Services/WebSocketService.h"
#include "Views/ActionBar.h"
#include "Views/ActionSection.h"
#include "Views/AudioLevelMeter.h"
#include "Views/BrowserLink.h"
#include "Views/Controls/Divider.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/TextLabel.h"
#include "Views/DevicePickerView.h"
#include "Views/ErrorFooter.h"
#include "Views/HeaderSection.h"
#include "Views/InPoints.h"
#include "Views/StatusBadge.h"
#include "Views/StreamingController.h"

#include <QVBoxLayout>

namespace tandrel {

PopoverView::PopoverView(StreamingController& controller, const ViewEnvironment& environment,
                         QWidget* parent)
    : QWidget(parent)
    , controller_(&controller)
    , environment_(environment)
    , header_(new HeaderSection)
    , footerDivider_(new Divider)
    , footer_(new ErrorFooter) {
    auto* actionBar = new ActionBar(environment_.appVersion);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins({});
    column->setSpacing(0);
    column->addWidget(header_);
    column->addWidget(new Divider);
    column->addWidget(makeMainContent());
    column->addWidget(footerDivider_);
    column->addWidget(footer_);
    column->addWidget(new Divider);
    column->addWidget(actionBar);

    connect(actionBar, &ActionBar::checkForUpdatesRequested, this,
            [this] { environment_.checkForUpdates(); });
    connect(actionBar, &ActionBar::privacyRequested, this,
            [this] { environment_.urlOpener.open(environment_.siteBaseURL + "/privacy-policy"); });
    connect(actionBar, &ActionBar::quitRequested, this, [quit = environment_.quit] { quit(); });
    connectSections();
    observeServices();
    showUser();
    showState();
    showFooter();
}

PopoverView::~PopoverView() = default;

QWidget* PopoverView::makeMainContent() {
    auto* content = new QWidget;
    auto* levelColumn = new QVBoxLayout;
    meter_ = new AudioLevelMeter(nullptr);
    levelColumn->addWidget(new TextLabel(QStringLiteral("Audio Level"), 11, ColorRole::secondary));
    levelColumn->addWidget(meter_);

    action_ = new ActionSection;
    auto* column = new QVBoxLayout(content);
    column->addWidget(new DevicePickerView(controller_->audioService(), nullptr));
    column->addLayout(levelColumn);
    column->addWidget(action_);
    applyInPoints(*content, [column, levelColumn] {
        const int side = roundedPixels(16);
        column->setContentsMargins(side, side, side, side);
        column->setSpacing(roundedPixels(12));
        levelColumn->setSpacing(roundedPixels(4));
    });
    return content;
}

void PopoverView::connectSections() {
    connect(header_, &HeaderSection::signOutRequested, this, [this] {
        if (controller_ != nullptr) {
            controller_->authService().logout();
        }
    });
    connect(action_, &ActionSection::startRequested, this, &PopoverView::startStreaming);
    connect(action_, &ActionSection::stopRequested, this, [this] {
        if (controller_ != nullptr) {
            controller_->stopStreaming();
        }
    });
    connect(action_, &ActionSection::openInBrowserRequested, this, &PopoverView::openInBrowser);
}

void PopoverView::observeServices() {
    subscriptions_.push_back(
        controller_->authService().user.observe([this](const auto&) { showUser(); }));
    subscriptions_.push_back(
        controller_->sessionService().state.observe([this](const auto&) { showState(); }));
    subscriptions_.push_back(
        controller_->sessionService().error.observe([this](const auto&) { showFooter(); }));
    subscriptions_.push_back(
        controller_->wsService().state.observe([this](const auto&) { showFooter(); }));
    subscriptions_.push_back(controller_->notice.observe([this](const auto&) { showFooter(); }));
    subscriptions_.push_back(
        controller_->audioService().selectedDevice.observe([this](const auto&) { showState(); }));
}

void PopoverView::observeWhatMoves() {
    AudioCaptureService& audio = controller_->audioService();
    meter_->setLevel(audio.audioLevel.value());
    showDuration();
    moving_.clear();
    moving_.push_back(audio.audioLevel.observe([this](float level) { meter_->setLevel(level); }));
    moving_.push_back(
        controller_->streamingDuration.observe([this](double /*seconds*/) { showDuration(); }));
}

void PopoverView::detach() {
    moving_.clear();
    subscriptions_.clear();
    controller_ = nullptr;
}

void PopoverView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (controller_ != nullptr) {
        observeWhatMoves();
    }
}

void PopoverView::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    moving_.clear();
}

void PopoverView::showUser() {
    const auto& user = controller_->authService().user.value();
    header_->setEmail(user ? std::optional(user->email) : std::nullopt);
}

void PopoverView::showState() {
    const SessionState& state = controller_->sessionService().state.value();
    showDuration();
    header_->statusBadge().setState(state.kind());
    action_->setState(state.kind(), controller_->audioService().selectedDevice.value().has_value(),
                      sessionLink().has_value());
}

void PopoverView::showFooter() {
    std::optional<std::string> message = controller_->currentError();
    if (!message) {
        message = controller_->notice.value();
    }
    if (message) {
        footer_->setMessage(*message);
    }
    footerDivider_->setVisible(message.has_value());
    footer_->setVisible(message.has_value());
}

void PopoverView::showDuration() {
    header_->statusBadge().setDuration(QString::fromStdString(controller_->formattedDuration()));
}

std::optional<std::string> PopoverView::sessionLink() const {
    const TandrelSessionResponse* session = controller_->sessionService().state.value().session();
    return session != nullptr ? browserLink(environment_.webAppBaseURL, session->interviewId)
                              : std::nullopt;
}

void PopoverView::startStreaming() {
    if (controller_ == nullptr) {
        return;
    }
    if (const auto* session = controller_->sessionService().state.value().session()) {
        controller_->startStreaming(*session);
    }
}

void PopoverView::openInBrowser() {
    if (controller_ == nullptr) {
        return;
    }
    if (const auto link = sessionLink()) {
        environment_.urlOpener.open(*link);
    }
}

} // namespace tandrel
