#include "AppDelegate.h"

#include "AppState.h"
#include "DebugLog.h"
#include "Foundation/Console.h"
#include "UrlCommand.h"

#include <utility>

namespace tandrel {

AppDelegate::AppDelegate(AppState& appState, Clock& clock, Desktop desktop)
    : appState_(appState)
    , clock_(clock)
    , desktop_(std::move(desktop)) {}

void AppDelegate::open(const std::vector<std::string>& urls) {
    for (const std::string& url : urls) {
        waiting_.push_back(UrlCommand::bounded(url));
    }
    handleSome();
}

void AppDelegate::handleSome() {
    for (; handledThisTurn_ < urlsPerTurn && !waiting_.empty(); ++handledThisTurn_) {
        const std::string url = std::move(waiting_.front());
        waiting_.pop_front();
        handle(url);
    }
    // Also when nothing waits now: many may come one after the other in the same turn.
    if (!nextTurn_) {
        nextTurn_ = clock_.after(Clock::Duration::zero(), [this] {
            nextTurn_.reset();
            handledThisTurn_ = 0;
            if (!waiting_.empty()) {
                handleSome();
            }
        });
    }
}

void AppDelegate::handle(const std::string& url) {
    const UrlCommand command = UrlCommand::parse(url);
    if (command.scheme != UrlCommand::commandScheme) {
        return;
    }
    // Control characters escaped: nobody forges a line of the log.
    DebugLog::write("[AppDelegate] Received URL: " + printable(url) +
                    " command=" + printable(command.host));
    if (command.host == "stop") {
        stop();
    } else {
        start();
    }
}

void AppDelegate::start() {
    appState_.autoStartRequested.set(true);
    // One activation and one click serve all commands until the click: the popover cannot open
    // twice, and a flood would otherwise leave a timer for each.
    if (click_) {
        return;
    }
    desktop_.activate();
    click_ = clock_.after(clickDelay, [this] {
        click_.reset();
        clickStatusBarButton();
    });
}

void AppDelegate::stop() {
    appState_.stopRequested.set(true);
}

void AppDelegate::clickStatusBarButton() {
    if (!desktop_.hasStatusBarButton()) {
        DebugLog::write("[AppDelegate] Could not find status bar button to open popover");
        return;
    }
    DebugLog::write("[AppDelegate] Opening popover via status bar button click");
    desktop_.clickStatusBarButton();
}

} // namespace tandrel
