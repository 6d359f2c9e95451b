#include "Foundation/Console.h"

#include <cstddef>
#include <cstdio>

namespace tandrel {

namespace {

/// The bytes of the control character, or of the end of a line, that `text` starts with; else 0.
std::size_t controlLength(std::string_view text) {
    const auto byteAt = [text](std::size_t index) {
        return index < text.size() ? static_cast<unsigned char>(text[index]) : 0U;
    };
    if (byteAt(0) < 0x20 || byteAt(0) == 0x7f) {
        return 1;
    }
    // U+0080 to U+009F: terminals take U+009B for the start of a command.
    if (byteAt(0) == 0xc2 && byteAt(1) >= 0x80 && byteAt(1) <= 0x9f) {
        return 2;
    }
    // U+2028 and U+2029 end lines and paragraphs.
    const bool endsLine =
        byteAt(0) == 0xe2 && byteAt(1) == 0x80 && (byteAt(2) == 0xa8 || byteAt(2) == 0xa9);
    return endsLine ? 3 : 0;
}

} // namespace

std::string printable(std::string_view text) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string line;
    line.reserve(text.size() + 1);
    while (!text.empty()) {
        const std::size_t length = controlLength(text);
        if (length == 0) {
            line += text.front();
            text.remove_prefix(1);
            continue;
        }
        for (const char character : text.substr(0, length)) {
            const auto byte = static_cast<unsigned char>(character);
            line += "\\x";
            line += digits[byte >> 4U];
            line += digits[byte & 0xfU];
        }
        text.remove_prefix(length);
    }
    return line;
}

void printLine(std::string_view text) {
    const std::string line = printable(text) + '\n';
    // One call under the stream's own lock: two threads never share a line.
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fflush(stdout);
}

} // namespace tandrel
