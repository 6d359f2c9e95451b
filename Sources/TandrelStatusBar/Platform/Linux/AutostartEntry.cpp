#include "Platform/Linux/AutostartEntry.h"

#include <map>

namespace tandrel {

namespace {

constexpr std::string_view group = "[Desktop Entry]";
constexpr std::string_view markerKey = "X-Quorvane-Tandrel-Written";

/// The value of a string key, as the Desktop Entry Specification escapes it.
std::string stringValue(std::string_view text) {
    std::string value;
    // Readers take off the blanks that a line ends in.
    const std::size_t end = text.find_last_not_of(' ') + 1;
    for (const char character : text.substr(0, end)) {
        switch (character) {
        case '\\':
            value += "\\\\";
            break;
        case '\n':
            value += "\\n";
            break;
        case '\r':
            value += "\\r";
            break;
        case '\t':
            value += "\\t";
            break;
        default:
            value += character;
        }
    }
    for (std::size_t at = end; at < text.size(); ++at) {
        value += "\\s";
    }
    return value;
}

std::string unescaped(std::string_view value) {
    std::string text;
    for (std::size_t at = 0; at < value.size(); ++at) {
        if (value[at] != '\\' || at + 1 == value.size()) {
            text += value[at];
            continue;
        }
        switch (const char next = value[++at]) {
        case 's':
            text += ' ';
            break;
        case 'n':
            text += '\n';
            break;
        case 't':
            text += '\t';
            break;
        case 'r':
            text += '\r';
            break;
        default:
            text += next;
        }
    }
    return text;
}

/// One argument of a command line: quoted by the rules for Exec where it needs to be, which come
/// before those for strings.
std::string execArgument(std::string_view argument) {
    static constexpr std::string_view reserved = " \t\n\"'\\><~|&;$*?#()`";
    const bool needsQuotes = argument.find_first_of(reserved) != std::string_view::npos;
    std::string quoted;
    for (const char character : argument) {
        if (character == '%') {
            quoted += '%';
        } else if (needsQuotes && std::string_view("\"`$\\").find(character) != std::string::npos) {
            quoted += '\\';
        }
        quoted += character;
    }
    return stringValue(needsQuotes ? '"' + quoted + '"' : quoted);
}

std::string_view trimmed(std::string_view text) {
    static constexpr std::string_view blanks = " \t\r";
    const auto first = text.find_first_not_of(blanks);
    return first == std::string_view::npos
               ? std::string_view()
               : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

using Keys = std::map<std::string_view, std::string_view>;

/// The keys of the one group that counts.
Keys keysOf(std::string_view text) {
    Keys keys;
    bool isInGroup = false;
    while (!text.empty()) {
        const auto end = text.find('\n');
        const std::string_view line = trimmed(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.starts_with('[')) {
            isInGroup = line == group;
        } else if (const auto equals = line.find('=');
                   isInGroup && !line.starts_with('#') && equals != std::string_view::npos) {
            keys.emplace(trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1)));
        }
    }
    return keys;
}

std::string_view valueOf(const Keys& keys, std::string_view key) {
    const auto found = keys.find(key);
    return found == keys.end() ? std::string_view() : found->second;
}

/// How desktops' own tools switch an entry off: `Hidden` in every desktop's files (Xfce, KDE,
/// LXQt), the others those of the session managers of GNOME, Cinnamon, Budgie and of MATE.
bool isSwitchedOff(const Keys& keys) {
    return valueOf(keys, "Hidden") == "true" ||
           valueOf(keys, "X-GNOME-Autostart-enabled") == "false" ||
           valueOf(keys, "X-MATE-Autostart-enabled") == "false";
}

} // namespace

AutostartEntry parseAutostartEntry(std::string_view text) {
    const Keys keys = keysOf(text);
    return {valueOf(keys, markerKey) == "true",
            !isSwitchedOff(keys) && !valueOf(keys, "Exec").empty(),
            unescaped(valueOf(keys, "TryExec"))};
}

// The icon waits for its tray by itself; all the same, the sooner the panel is there, the less is
// seen of the wait. What each desktop offers for that:
//  X-GNOME-Autostart-Delay, X-MATE-Autostart-Delay: seconds, after all of the desktop itself has
//    started (gnome-session up to 48 and Cinnamon's, mate-session).
//  X-KDE-autostart-after: what is to be up before, for Plasma where it does not leave autostart to
//    systemd (startkde, ksmserver, klauncher).
//  X-LXQt-Need-Tray: lxqt-session waits for a tray.
// Left out on purpose:
//  X-GNOME-Autostart-Phase: with any value in it, systemd-xdg-autostart-generator(8), which Plasma
//    and others start programs by, passes the file over; without, it is a session's last phase.
//  X-GNOME-HiddenUnderSystemd: for programs that bring a systemd unit of their own.
//  OnlyShowIn: it would leave out desktops that nobody has thought of.
std::string autostartEntryText(const std::string& program, bool isEnabled) {
    std::string text =
        "# Written by Quorvane Tandrel, which replaces and removes this file when its\n"
        "# \"Start at Login\" is switched. To keep one of your own, take out the last "
        "line.\n";
    const auto add = [&text](std::string_view key, std::string_view value) {
        text.append(key).append("=").append(value).append("\n");
    };
    text.append(group).append("\n");
    add("Type", "Application");
    add("Name", "Quorvane Tandrel");
    add("Comment", "Streams the microphone to a live session");
    add("Icon", "com.quorvane.Tandrel");
    add("TryExec", stringValue(program));
    add("Exec", execArgument(program) + " --background");
    add("Terminal", "false");
    add("StartupNotify", "false");
    if (!isEnabled) {
        add("Hidden", "true");
    }
    add("X-GNOME-Autostart-enabled", isEnabled ? "true" : "false");
    add("X-GNOME-Autostart-Delay", "2");
    add("X-MATE-Autostart-Delay", "2");
    add("X-KDE-autostart-after", "panel");
    add("X-LXQt-Need-Tray", "true");
    add(markerKey, "true");
    return text;
}

} // namespace tandrel
