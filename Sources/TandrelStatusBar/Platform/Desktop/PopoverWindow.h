#pragma once

#include "Platform/Desktop/PopoverPlacement.h"

#include <QMargins>
#include <QWidget>

#include <functional>

class QTimer;

namespace tandrel {

/// The window around the program's content: a popover beside the status item, or an ordinary small
/// window where there is no tray. Its size follows the content; closing only hides it.
///
/// The popover is a frameless window that closes when another one becomes active, on every system.
/// A grab of pointer and keyboard (`Qt::Popup`) would keep input methods, a password manager, the
/// desktop's shortcuts and the screen lock away for as long as it is open, which may be a whole
/// call.
class PopoverWindow : public QWidget {
    Q_OBJECT

public:
    enum class Kind { popover, window };

    /// Whether windows may be translucent now.
    using CompositorQuery = std::function<bool()>;
    /// Draws the content with a shadow or without, and tells how wide the shadow is.
    using ShadowSetting = std::function<QMargins(bool isVisible)>;

    /// Takes `content`, which fills the window.
    PopoverWindow(QWidget* content, CompositorQuery hasCompositor, ShadowSetting setShadow);

    /// Shows it in front. An open one is brought to the front, where and as it is.
    void open(Kind kind, const PopoverSituation& situation);
    /// Moves an open popover to where it belongs now that screens have come, gone or changed.
    void follow(const PopoverSituation& situation);

Q_SIGNALS:
    /// Another window became active, so the popover closed.
    void closedByDeactivation();

protected:
    bool event(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void prepare(Kind kind);
    [[nodiscard]] bool hasBorder() const;
    void fitContent();
    void bringToFront();
    void renewFrame();
    void closeWhenInactive();
    void endGrace();

    CompositorQuery hasCompositor_;
    ShadowSetting setShadow_;
    QMargins shadow_;
    Kind kind_ = Kind::popover;
    PopoverSituation situation_;
    QTimer* grace_;
};

} // namespace tandrel
