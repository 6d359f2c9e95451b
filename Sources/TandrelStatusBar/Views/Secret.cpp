#include "Views/Secret.h"

#include <QByteArray>

#include <cstddef>

namespace tandrel {

namespace {

/// Writes that no optimiser takes out, though nobody reads the memory again.
void overwrite(volatile char* bytes, std::size_t count) {
    for (std::size_t index = 0; index < count; ++index) {
        bytes[index] = 0;
    }
}

} // namespace

void wipe(QString& text) {
    if (text.capacity() == 0) { // a literal, in memory that nobody may write to
        text.clear();
        return;
    }
    // Through the read-only pointer: `data()` would take a copy of what is shared, and overwrite
    // that one.
    auto* const characters = const_cast<QChar*>(text.constData());
    overwrite(reinterpret_cast<volatile char*>(characters),
              static_cast<std::size_t>(text.size()) * sizeof(QChar));
    text.clear();
}

std::string secretUtf8(const QString& text) {
    QByteArray bytes = text.toUtf8();
    std::string result(bytes.constData(), static_cast<std::size_t>(bytes.size()));
    overwrite(bytes.data(), static_cast<std::size_t>(bytes.size()));
    return result;
}

} // namespace tandrel
