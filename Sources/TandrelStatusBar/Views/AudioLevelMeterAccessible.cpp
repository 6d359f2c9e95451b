#include "Views/AudioLevelMeterAccessible.h"

#include "Views/AudioLevelMeter.h"

#include <QAccessible>
#include <QAccessibleWidget>

#include <algorithm>
#include <cmath>

namespace tandrel {

namespace {

constexpr int fullPercent = 100;

class AudioLevelMeterAccessible : public QAccessibleWidget, public QAccessibleValueInterface {
public:
    explicit AudioLevelMeterAccessible(AudioLevelMeter* meter)
        : QAccessibleWidget(meter, QAccessible::ProgressBar) {}

    void* interface_cast(QAccessible::InterfaceType type) override {
        if (type == QAccessible::ValueInterface) {
            return static_cast<QAccessibleValueInterface*>(this);
        }
        return QAccessibleWidget::interface_cast(type);
    }

    [[nodiscard]] QAccessible::State state() const override {
        QAccessible::State state = QAccessibleWidget::state();
        state.readOnly = true;
        return state;
    }

    [[nodiscard]] QString text(QAccessible::Text type) const override {
        if (type == QAccessible::Value) {
            return QStringLiteral("%1%").arg(percent());
        }
        return QAccessibleWidget::text(type);
    }

    [[nodiscard]] QVariant currentValue() const override { return percent(); }
    void setCurrentValue(const QVariant& /*value*/) override {}
    [[nodiscard]] QVariant maximumValue() const override { return fullPercent; }
    [[nodiscard]] QVariant minimumValue() const override { return 0; }
    [[nodiscard]] QVariant minimumStepSize() const override { return 1; }

private:
    [[nodiscard]] int percent() const {
        const float level = static_cast<AudioLevelMeter*>(widget())->level();
        return level > 0.0F ? int(std::lround(std::min(level, 1.0F) * float(fullPercent))) : 0;
    }
};

QAccessibleInterface* makeInterface(const QString& /*className*/, QObject* object) {
    auto* meter = qobject_cast<AudioLevelMeter*>(object);
    return meter == nullptr ? nullptr : new AudioLevelMeterAccessible(meter);
}

} // namespace

void makeLevelReadable() {
    // Installing twice leaves one.
    QAccessible::installFactory(makeInterface);
}

} // namespace tandrel
