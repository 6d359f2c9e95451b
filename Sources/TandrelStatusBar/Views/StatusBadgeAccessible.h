#pragma once

namespace tandrel {

/// Tells Qt once how assistive technology sees a `StatusBadge`: as one notification that is named
/// by its text, without parts. Main thread.
void makeStatusBadgeAccessible();

} // namespace tandrel
