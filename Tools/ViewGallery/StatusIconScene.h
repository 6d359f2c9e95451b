#pragma once

#include <QImage>

namespace tandrel::gallery {

/// The status item's icon, microphone closed and open, in the sizes of usual panels, on a dark and
/// on a light one. `scale` is device pixels to a logical one.
[[nodiscard]] QImage pictureOfStatusIcons(qreal scale);

} // namespace tandrel::gallery
