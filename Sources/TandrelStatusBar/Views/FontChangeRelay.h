#pragma once

#include <QObject>
#include <QPointer>

class QWidget;

namespace tandrel {

/// Tells every widget of a window that the user's interface font has changed. Qt tells the window
/// alone, and what inherits its font from it; whoever takes its size from the application's font
/// would keep the old one. Main thread.
class FontChangeRelay : public QObject {
    Q_OBJECT
public:
    /// From now on for this window, instead of any other.
    void watch(QWidget& window);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QPointer<QWidget> window_;
};

} // namespace tandrel
