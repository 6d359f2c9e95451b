#pragma once

#include "Services/SessionState.h"
#include "Views/LiveRegion.h"

class QHBoxLayout;

namespace tandrel {

class Spinner;
class StatusDot;
class SymbolView;
class TextLabel;

/// Where the session stands, in a word. It is announced when the state changes, never for a tick of
/// the duration. Main thread.
class StatusBadge : public LiveRegion {
    Q_OBJECT
public:
    explicit StatusBadge(QWidget* parent = nullptr);

    void setState(SessionState::Kind kind);
    /// Shown while streaming.
    void setDuration(const QString& formattedDuration);

    /// Such as "Streaming 00:12".
    [[nodiscard]] QString text() const override;

private:
    SymbolView* icon_;
    Spinner* spinner_;
    StatusDot* dot_;
    TextLabel* text_;
    TextLabel* duration_;
    SessionState::Kind kind_ = SessionState::Kind::idle;
};

} // namespace tandrel
