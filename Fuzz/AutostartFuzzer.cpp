// An entry in a folder of autostart files, as anybody may leave it there; and the path of a program
// that is written into one.
#include "Harness/Check.h"
#include "Platform/Linux/AutostartEntry.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tandrel::fuzz {
namespace {

std::optional<std::string> valueIn(const std::string& entry, const std::string& key) {
    const std::size_t at = entry.find("\n" + key + "=");
    if (at == std::string::npos) {
        return std::nullopt;
    }
    const std::size_t start = at + key.size() + 2;
    return entry.substr(start, entry.find('\n', start) - start);
}

/// A desktop entry's first pass: escapes that every string has.
std::string unescaped(const std::string& value) {
    static const std::string letters = "sntr\\";
    static const std::string meanings = " \n\t\r\\";
    std::string text;
    for (std::size_t at = 0; at < value.size(); ++at) {
        if (value[at] == '\\') {
            const std::size_t which = letters.find(value.at(++at));
            FUZZ_EXPECT(which != std::string::npos);
            text += meanings[which];
        } else {
            text += value[at];
        }
    }
    return text;
}

/// And the second one: the arguments of a command line.
std::vector<std::string> argumentsOf(const std::string& command) {
    std::vector<std::string> arguments(1);
    bool isQuoted = false;
    for (std::size_t at = 0; at < command.size(); ++at) {
        const char c = command[at];
        if (c == '"') {
            isQuoted = !isQuoted;
        } else if (c == ' ' && !isQuoted) {
            arguments.emplace_back();
        } else if (c == '\\' && isQuoted) {
            arguments.back() += command.at(++at);
        } else if (c == '%') {
            FUZZ_EXPECT(command.at(++at) == '%');
            arguments.back() += '%';
        } else {
            // Whatever else has a meaning to a command line stands within quotes.
            FUZZ_EXPECT(isQuoted ||
                        std::string_view("\t\n'><~|&;$*?#()`").find(c) == std::string_view::npos);
            arguments.back() += c;
        }
    }
    FUZZ_EXPECT(!isQuoted);
    return arguments;
}

void checkWritten(const std::string& program, bool isEnabled) {
    const std::string text = autostartEntryText(program, isEnabled);
    const AutostartEntry entry = parseAutostartEntry(text);
    FUZZ_EXPECT(entry.isOurs && entry.isEnabled == isEnabled);
    FUZZ_EXPECT(entry.tryExec == program);
    // No path adds a line of its own.
    const std::string plain = autostartEntryText("/usr/bin/program", isEnabled);
    FUZZ_EXPECT(std::count(text.begin(), text.end(), '\n') ==
                std::count(plain.begin(), plain.end(), '\n'));
    FUZZ_EXPECT(unescaped(valueIn(text, "TryExec").value()) == program);
    const std::vector<std::string> expected{program, "--background"};
    FUZZ_EXPECT(argumentsOf(unescaped(valueIn(text, "Exec").value())) == expected);
}

void checkRead(const std::string& text) {
    const AutostartEntry entry = parseAutostartEntry(text);
    const auto has = [&text](std::string_view part) {
        return text.find(part) != std::string::npos;
    };
    FUZZ_EXPECT(!entry.isOurs || (has("X-Quorvane-Tandrel-Written") && has("[Desktop Entry]")));
    FUZZ_EXPECT(!entry.isEnabled || (has("Exec") && has("[Desktop Entry]")));
    FUZZ_EXPECT(entry.tryExec.size() <= text.size());
    // Lines of another group, and comments, change nothing.
    const AutostartEntry more = parseAutostartEntry(
        text +
        "\n#Hidden=true\n[Desktop Action x]\nHidden=true\nX-Quorvane-Tandrel-Written=true\n");
    FUZZ_EXPECT(more.isOurs == entry.isOurs && more.isEnabled == entry.isEnabled &&
                more.tryExec == entry.tryExec);
    const AutostartEntry less = parseAutostartEntry("[Other]\nHidden=true\nTryExec=/x\n" + text);
    FUZZ_EXPECT(less.isOurs == entry.isOurs && less.isEnabled == entry.isEnabled &&
                less.tryExec == entry.tryExec);
}

} // namespace
} // namespace tandrel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tandrel::fuzz;
    const std::string text(reinterpret_cast<const char*>(data), size);
    checkRead(text);
    // No path holds a NUL.
    const std::string program = "/" + text.substr(0, text.find('\0'));
    checkWritten(program, true);
    checkWritten(program, false);
    return 0;
}
