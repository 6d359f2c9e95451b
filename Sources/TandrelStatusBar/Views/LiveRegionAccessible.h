#pragma once

namespace tandrel {

/// Tells Qt once how assistive technology sees a `LiveRegion`: as one notification that is named
/// by its text, without parts. Main thread.
void makeLiveRegionsAccessible();

} // namespace tandrel
