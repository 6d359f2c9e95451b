#include "Micro/Body.h"
#include "Views/AudioLevelMeter.h"

#include <QCoreApplication>

#include <array>
#include <chrono>
#include <cstdlib>
#include <memory>

namespace tandrel::bench {

namespace {

/// A meter of the panel's size that is shown on a display in memory.
struct ShownMeter {
    LevelAnimation::TimePoint now{};
    AudioLevelMeter meter{[this] { return now; }, nullptr};
    std::size_t count = 0;

    ShownMeter() {
        meter.resize(304, meter.sizeHint().height());
        meter.show();
        QCoreApplication::processEvents();
        if (!meter.isVisible()) {
            std::abort();
        }
    }

    /// The next level, a buffer after the last one, and the repaint that it asks for.
    void step() {
        static constexpr std::array levels{0.1F, 0.5F, 0.3F, 0.8F, 0.2F, 0.6F, 1.0F, 0.4F};
        now += std::chrono::microseconds(21'312);
        meter.setLevel(levels[++count % levels.size()]);
        // Not the events of the system or of timers, which come when they come.
        QCoreApplication::sendPostedEvents();
    }
};

} // namespace

std::vector<Body> meterBodies() {
    return {{"meter", "level", 1,
             [] { return [shown = std::make_shared<ShownMeter>()] { shown->step(); }; }}};
}

} // namespace tandrel::bench
