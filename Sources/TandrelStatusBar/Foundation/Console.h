#pragma once

#include <string>
#include <string_view>

namespace tandrel {

/// `text` with its control characters and ends of lines (ASCII's and Unicode's) escaped, so that it
/// stays on one line and cannot steer a terminal. Any thread.
[[nodiscard]] std::string printable(std::string_view text);

/// Prints one line to standard output and flushes it. Any thread; a line is never torn, and
/// `text` is made printable first: text from outside cannot forge a line.
void printLine(std::string_view text);

} // namespace tandrel
