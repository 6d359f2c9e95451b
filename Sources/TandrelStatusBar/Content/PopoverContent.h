#pragma once

#include "AppContent.h"
#include "Content/AppServices.h"
#include "Foundation/Published.h"
#include "Views/ViewEnvironment.h"

#include <QPointer>

#include <functional>
#include <vector>

namespace tandrel {

class PopoverCard;
class StreamingController;

/// The services, and the views that show them. Main thread.
class PopoverContent : public AppContent {
public:
    explicit PopoverContent(const Request& request);
    ~PopoverContent() override;

    [[nodiscard]] QWidget* makeCard() override;
    QMargins setShadowVisible(bool isVisible) override;
    void setOnStatus(std::function<void(const Status&)> handler) override;
    void keyringChanged(bool isThere) override;
    void keyringAppeared() override;
    void shutDown() override;

private:
    void watchPanel(StreamingController* panel);
    void tellStatus();

    AppServices services_;
    ViewEnvironment environment_;
    QPointer<PopoverCard> card_;
    std::function<void(const Status&)> onStatus_;
    std::vector<Subscription> subscriptions_;
    /// Of the panel that there is now.
    Subscription notice_;
};

} // namespace tandrel
