#include "Foundation/Console.h"

#include <cstdio>

namespace tandrel {

std::string printable(std::string_view text) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string line;
    line.reserve(text.size() + 1);
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7f) {
            line += "\\x";
            line += digits[byte >> 4U];
            line += digits[byte & 0xfU];
        } else {
            line += character;
        }
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
