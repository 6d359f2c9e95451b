#pragma once

#include "Foundation/Published.h"
#include "Views/ViewEnvironment.h"

#include <QWidget>

#include <optional>
#include <string>
#include <vector>

namespace tandrel {

class ActionSection;
class AudioLevelMeter;
class Divider;
class ErrorFooter;
class HeaderSection;
class StreamingController;

/// The signed-in panel: shows where streaming stands and passes on what the user asks for. While it
/// cannot be seen it follows changes of state only, neither the level nor the duration. Main
/// thread.
class PopoverView : public QWidget {
    Q_OBJECT
public:
    /// The controller must outlive the view, or `detach()` be called before it goes.
    PopoverView(StreamingController& controller, const ViewEnvironment& environment,
                QWidget* parent = nullptr);
    ~PopoverView() override;

    /// Lets go of the controller and its services; what is shown stays as it is. One of the view's
    /// own buttons may be the reason that the controller goes, so the view outlives it until the
    /// event loop has done with the click.
    void detach();

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    [[nodiscard]] QWidget* makeMainContent();
    void connectSections();
    void observeServices();
    void observeWhatMoves();

    void showUser();
    void showState();
    void showFooter();
    void showDuration();

    [[nodiscard]] std::optional<std::string> sessionLink() const;
    void startStreaming();
    void openInBrowser();

    /// Null once detached.
    StreamingController* controller_;
    const ViewEnvironment environment_;

    HeaderSection* header_;
    AudioLevelMeter* meter_ = nullptr;
    ActionSection* action_ = nullptr;
    Divider* footerDivider_;
    ErrorFooter* footer_;

    std::vector<Subscription> subscriptions_;
    /// The level and the duration, while they can be seen.
    std::vector<Subscription> moving_;
};

} // namespace tandrel
