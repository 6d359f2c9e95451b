#pragma once

namespace tandrel {

/// From now on assistive programs that ask an `AudioLevelMeter` find a progress bar with its level
/// in per cent. It announces nothing: levels change 47 times a second. May be called again.
void makeLevelReadable();

} // namespace tandrel
