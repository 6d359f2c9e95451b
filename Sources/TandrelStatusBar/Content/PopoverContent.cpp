#include "Content/PopoverContent.h"

#include "BuildConfig.h"
#include "Content/StatusText.h"
#include "Views/Controls/PopoverCard.h"
#include "Views/MenuBarContentView.h"

#include <utility>

namespace tandrel {

PopoverContent::PopoverContent(const Request& request)
    : services_(request.backendBaseURL, request.appState, request.clock)
    , environment_{request.webAppBaseURL, request.siteBaseURL,     std::string(config::version),
                   request.urlOpener,     request.checkForUpdates, request.quit} {
    MenuBarContentController& content = services_.content();
    subscriptions_.push_back(
        content.authService().isAuthenticated.onChange([this](bool) { tellStatus(); }));
    subscriptions_.push_back(
        content.sessionService().state.onChange([this](const SessionState&) { tellStatus(); }));
    subscriptions_.push_back(
        content.audioService().isCapturing.onChange([this](bool) { tellStatus(); }));
    subscriptions_.push_back(
        content.audioService().captureFault.observe([this](const auto&) { tellStatus(); }));
    subscriptions_.push_back(
        content.panel.observe([this](StreamingController* panel) { watchPanel(panel); }));
}

PopoverContent::~PopoverContent() = default;

QWidget* PopoverContent::makeCard() {
    card_ = new PopoverCard(new MenuBarContentView(services_.content(), environment_));
    return card_;
}

QMargins PopoverContent::setShadowVisible(bool isVisible) {
    if (!card_) {
        return {};
    }
    card_->setShadowVisible(isVisible);
    return card_->shadowMargins();
}

void PopoverContent::setOnStatus(std::function<void(const Status&)> handler) {
    onStatus_ = std::move(handler);
}

void PopoverContent::keyringChanged(bool isThere) {
    services_.keyringChanged(isThere);
}

void PopoverContent::keyringAppeared() {
    services_.keyringAppeared();
}

void PopoverContent::watchPanel(StreamingController* panel) {
    notice_ = panel == nullptr ? Subscription()
                               : panel->notice.observe([this](const auto&) { tellStatus(); });
    tellStatus();
}

void PopoverContent::tellStatus() {
    if (!onStatus_) {
        return;
    }
    MenuBarContentController& content = services_.content();
    const SessionState& state = content.sessionService().state.value();
    const StreamingController* const panel = content.panel.value();
    const auto notice = panel != nullptr ? panel->notice.value() : std::nullopt;
    const bool isMicrophoneOpen = content.audioService().isMicrophoneOpen();
    onStatus_(
        {statusText(content.authService().isAuthenticated.value(), state, notice, isMicrophoneOpen),
         isMicrophoneOpen});
}

void PopoverContent::shutDown() {
    subscriptions_.clear();
    notice_.reset();
    services_.shutDown();
}

} // namespace tandrel
