#pragma once

#include "Views/LevelAnimation.h"

#include <QBasicTimer>
#include <QBrush>
#include <QWidget>

#include <functional>

namespace tandrel {

/// A thin bar that shows the live audio level. It repaints itself alone, only when another pixel
/// is filled, and does nothing at all while it cannot be seen.
class AudioLevelMeter : public QWidget {
    Q_OBJECT
public:
    using Now = std::function<LevelAnimation::TimePoint()>;

    explicit AudioLevelMeter(QWidget* parent = nullptr);
    AudioLevelMeter(Now now, QWidget* parent);

    /// `level` is expected in 0...1; below 0 and not-a-number are drawn as 0.
    void setLevel(float level);
    [[nodiscard]] float level() const { return level_; }
    [[nodiscard]] bool isAnimating() const { return timer_.isActive(); }

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    /// In device pixels.
    [[nodiscard]] int filledWidth(LevelAnimation::TimePoint at) const;
    void step();
    void updateColors();

    Now now_;
    float level_ = 0.0F;
    LevelAnimation animation_;
    QBasicTimer timer_;
    int paintedWidth_ = 0;
    /// From 0 to 1; stretched over the filled part.
    QBrush gradient_;
    QColor track_;
    QColor ground_;
};

} // namespace tandrel
