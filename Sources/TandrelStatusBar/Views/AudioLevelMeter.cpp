#include "Views/AudioLevelMeter.h"

#include "Views/AudioLevelMeterAccessible.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/Theme.h"

#include <QEvent>
#include <QLinearGradient>
#include <QPaintEvent>
#include <QPainter>
#include <QTimerEvent>
#include <QTransform>

#include <algorithm>
#include <cmath>
#include <utility>

namespace tandrel {

namespace {

constexpr qreal heightPoints = 6.0;
constexpr qreal cornerRadius = 3.0;
/// Longer than the gap between two levels: while they come, they are the frames, and the timer only
/// draws what is left of the way after the last one.
constexpr std::chrono::milliseconds frameInterval{25};
/// Far beyond the widget, and far below what a painter can place.
constexpr double widestFill = 100.0;

} // namespace

AudioLevelMeter::AudioLevelMeter(QWidget* parent)
    : AudioLevelMeter([] { return std::chrono::steady_clock::now(); }, parent) {}

AudioLevelMeter::AudioLevelMeter(Now now, QWidget* parent)
    : QWidget(parent)
    , now_(std::move(now)) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    // It paints its own ground, so that a new level does not repaint the card below.
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAccessibleName(QStringLiteral("Audio Level"));
    makeLevelReadable();
    updateColors();
}

void AudioLevelMeter::setLevel(float level) {
    level_ = level;
    const double target = level > 0.0F ? std::min(double(level), widestFill) : 0.0;
    if (!isVisible()) {
        animation_.jumpTo(target);
        return;
    }
    const LevelAnimation::TimePoint now = now_();
    if (target == animation_.target() && !animation_.isRunning(now)) {
        return;
    }
    animation_.setTarget(target, now);
    step();
    timer_.start(int(frameInterval.count()), this);
}

int AudioLevelMeter::filledWidth(LevelAnimation::TimePoint at) const {
    return int(std::lround(animation_.value(at) * width() * devicePixelRatioF()));
}

void AudioLevelMeter::step() {
    const int filled = filledWidth(now_());
    if (filled == paintedWidth_) {
        return;
    }
    // The gradient spans the filled part, so all of it changes.
    const int changed = int(std::ceil(std::max(filled, paintedWidth_) / devicePixelRatioF())) + 1;
    update(0, 0, std::min(changed, width()), height());
}

void AudioLevelMeter::timerEvent(QTimerEvent* event) {
    if (event->timerId() != timer_.timerId()) {
        QWidget::timerEvent(event);
        return;
    }
    if (!animation_.isRunning(now_())) {
        timer_.stop();
    }
    step();
}

void AudioLevelMeter::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.fillRect(event->rect(), ground_);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    const qreal radius = pixels(cornerRadius);
    painter.setBrush(track_);
    painter.drawRoundedRect(rect(), radius, radius);

    paintedWidth_ = filledWidth(now_());
    if (paintedWidth_ == 0) {
        return;
    }
    const qreal filled = paintedWidth_ / devicePixelRatioF();
    gradient_.setTransform(QTransform::fromScale(filled, 1.0));
    painter.setBrush(gradient_);
    const qreal filledRadius = std::min(radius, filled / 2.0);
    painter.drawRoundedRect(QRectF(0.0, 0.0, filled, height()), filledRadius, radius);
}

void AudioLevelMeter::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    animation_.jumpTo(animation_.target());
}

void AudioLevelMeter::hideEvent(QHideEvent* event) {
    timer_.stop();
    animation_.jumpTo(animation_.target());
    QWidget::hideEvent(event);
}

QSize AudioLevelMeter::sizeHint() const {
    return {0, roundedPixels(heightPoints)};
}

void AudioLevelMeter::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (changesPoints(*event)) {
        updateGeometry();
    }
    if (event->type() == QEvent::PaletteChange) {
        updateColors();
    }
    update();
}

void AudioLevelMeter::updateColors() {
    QLinearGradient gradient(0.0, 0.0, 1.0, 0.0);
    gradient.setColorAt(0.0, meterColor(ColorRole::green, palette()));
    gradient.setColorAt(0.5, meterColor(ColorRole::yellow, palette()));
    gradient.setColorAt(1.0, meterColor(ColorRole::red, palette()));
    gradient_ = QBrush(gradient);
    track_ = color(ColorRole::track, palette());
    ground_ = color(ColorRole::card, palette());
}

} // namespace tandrel
