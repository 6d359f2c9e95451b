#pragma once

#include <QAbstractButton>

namespace tandrel {

/// What the buttons have in common: Return presses as Space does, a ring marks the keyboard's
/// focus, sizes and colours follow the user's.
class Button : public QAbstractButton {
    Q_OBJECT
public:
    [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    /// `ringRadius` in points.
    Button(const QString& text, qreal ringRadius, QWidget* parent);

    /// What the ring surrounds.
    [[nodiscard]] virtual QRect visibleShape() const { return rect(); }
    /// Takes the user's font anew.
    virtual void updateFont() = 0;

    void keyPressEvent(QKeyEvent* event) override;
    bool event(QEvent* event) override;
    void changeEvent(QEvent* event) override;
};

} // namespace tandrel
