#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tandrel::fuzz {

// Second implementations, as plain as can be, of what the program's own is compared with.

/// The code points of a UTF-8 text; whether it is one.
bool decodeUtf8(std::string_view bytes, std::vector<char32_t>& codePoints);

inline bool isUtf8(std::string_view bytes) {
    std::vector<char32_t> ignored;
    return decodeUtf8(bytes, ignored);
}

/// Whether `text` is JSON by RFC 8259 in UTF-8, with numbers that a double can hold, and nested at
/// most 500 levels deep. A byte order mark may come before it.
bool isJson(std::string_view text);

/// Whether `text` stays on one line, and tells a terminal nothing but what to show.
bool isHarmlessLine(std::string_view text);

} // namespace tandrel::fuzz
