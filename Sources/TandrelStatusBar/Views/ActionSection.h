#pragma once

#include "Services/SessionState.h"

#include <QWidget>

namespace tandrel {

class PlainButton;
class ProminentButton;
class SteadySlot;
class TextLabel;

/// What can be done about the session: the button that starts and stops, and below it the hint or
/// the link to the found session's page. Main thread.
class ActionSection : public QWidget {
    Q_OBJECT
public:
    explicit ActionSection(QWidget* parent = nullptr);

    /// `canStart`: a device is selected. `hasPage`: the found session has a page to open.
    void setState(SessionState::Kind kind, bool canStart, bool hasPage);

Q_SIGNALS:
    void startRequested();
    void stopRequested();
    void openInBrowserRequested();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void act();
    /// Holds the keyboard's focus itself when the button that has it goes out of use, until there
    /// is something to press again.
    void keepFocus(bool canAct, bool canOpen);

    ProminentButton* actionButton_;
    SteadySlot* below_;
    TextLabel* hint_;
    PlainButton* openInBrowserButton_;
    SessionState::Kind kind_ = SessionState::Kind::idle;
};

} // namespace tandrel
