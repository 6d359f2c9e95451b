#include "Platform/Desktop/PopoverToggle.h"

namespace tandrel {

PopoverToggle::Reaction PopoverToggle::clicked(bool isOpen, TimePoint now) {
    const auto isRecent = [now](const std::optional<TimePoint>& event) {
        return event && now - *event < interval;
    };
    if (isRecent(click_)) {
        return Reaction::none;
    }
    click_ = now;
    if (isOpen) {
        return Reaction::close;
    }
    return isRecent(closed_) ? Reaction::none : Reaction::open;
}

} // namespace tandrel
