#pragma once

#include <QString>

#include <string>

namespace tandrel {

/// Overwrites the characters of `text` where they lie, so in every string that shares them, and
/// leaves it empty. Literals stay as they are.
void wipe(QString& text);
/// `text` as UTF-8, without leaving another copy behind.
[[nodiscard]] std::string secretUtf8(const QString& text);

} // namespace tandrel
