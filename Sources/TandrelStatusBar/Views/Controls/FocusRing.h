#pragma once

#include <QObject>
#include <QPointer>
#include <QRect>
#include <QWidget>

#include <functional>

namespace tandrel {

/// Shows a ring around a control while it has the focus and the keyboard is in use. The ring lies
/// outside the control's own bounds, so it is a widget of the window. Owned by `target`.
class FocusRing : public QObject {
    Q_OBJECT
public:
    /// `shape`: what to surround, in the target's coordinates; `radius` in points.
    FocusRing(QWidget& target, std::function<QRect()> shape, qreal radius);
    ~FocusRing() override;

    [[nodiscard]] bool isShown() const { return overlay_ != nullptr; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    class Overlay;
    [[nodiscard]] bool isByKeyboard(Qt::FocusReason reason) const;
    void show();
    void hide();
    void place();

    QWidget& target_;
    std::function<QRect()> shape_;
    qreal radius_;
    QPointer<QWidget> overlay_;
    /// Whether the ring was there when the focus went, with the window or to a list, which give it
    /// back.
    bool returnsWithWindow_ = false;
    QList<QPointer<QWidget>> watchedAncestors_;
};

} // namespace tandrel
