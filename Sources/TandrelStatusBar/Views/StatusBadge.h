#pragma once

#include "Services/SessionState.h"

#include <QString>
#include <QWidget>

class QHBoxLayout;

namespace tandrel {

class Spinner;
class StatusDot;
class SymbolView;
class TextLabel;

/// Where the session stands, in a word. To assistive technology it is one thing, a notification
/// whose name is its text; it is announced when the state changes, never for a tick of the
/// duration. Main thread.
class StatusBadge : public QWidget {
    Q_OBJECT
public:
    explicit StatusBadge(QWidget* parent = nullptr);

    void setState(SessionState::Kind kind);
    /// Shown while streaming.
    void setDuration(const QString& formattedDuration);

    /// What stands there as one text, such as "Streaming 00:12".
    [[nodiscard]] QString text() const;

protected:
    void showEvent(QShowEvent* event) override;

private:
    void announce();

    SymbolView* icon_;
    Spinner* spinner_;
    StatusDot* dot_;
    TextLabel* text_;
    TextLabel* duration_;
    SessionState::Kind kind_ = SessionState::Kind::idle;
    SessionState::Kind announced_ = SessionState::Kind::idle;
    bool isAnnouncing_ = false;
};

} // namespace tandrel
