#pragma once

#include <string_view>

namespace tandrel {

/// Prints one line to standard output and flushes it. Any thread; a line is never torn. Control
/// characters within the text are escaped, so that text from outside cannot forge a line.
void printLine(std::string_view text);

} // namespace tandrel
