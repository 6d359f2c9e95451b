#pragma once

#include "Views/Controls/Theme.h"

#include <QBasicTimer>
#include <QWidget>

namespace tandrel {

/// A small indeterminate progress indicator. It turns only while it can be seen.
class Spinner : public QWidget {
    Q_OBJECT
public:
    explicit Spinner(ColorRole role = ColorRole::secondary, QWidget* parent = nullptr);

    void setColor(const QColor& color);
    [[nodiscard]] bool isTurning() const { return timer_.isActive(); }

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    ColorRole role_;
    /// Valid: instead of the role's.
    QColor color_;
    QBasicTimer timer_;
    int step_ = 0;
};

} // namespace tandrel
