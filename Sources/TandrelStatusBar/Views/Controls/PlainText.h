#pragma once

#include <QString>

namespace tandrel {

/// Text from outside as one line for the screen: at most 1000 characters, with whatever would
/// break the line or turn its direction replaced by a space.
[[nodiscard]] QString singleLine(const QString& text);
/// The same, but line breaks stay.
[[nodiscard]] QString plainLines(const QString& text);
/// `text` for a tool tip, where Qt would take anything with tags for rich text.
[[nodiscard]] QString plainToolTip(const QString& text);

} // namespace tandrel
