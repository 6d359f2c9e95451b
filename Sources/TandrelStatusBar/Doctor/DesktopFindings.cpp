#include "Doctor/DesktopFindings.h"

#include <array>
#include <cstdio>

namespace tandrel::doctor {

namespace {

constexpr const char* desktopFile = "com.quorvane.Tandrel.desktop";

std::string sizeText(std::uint64_t bytes) {
    if (bytes < 1000) {
        return std::to_string(bytes) + " bytes";
    }
    const bool isSmall = bytes < 1'000'000;
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f %s",
                  static_cast<double>(bytes) / (isSmall ? 1e3 : 1e6), isSmall ? "kB" : "MB");
    return text.data();
}

Finding busFinding(const DesktopLook& look) {
    Finding finding{"session_bus",
                    "Session bus",
                    Mark::noted,
                    "none: nothing keeps the program from running twice",
                    {{"connected", look.hasBus}, {"running", look.isRunning}}};
    if (look.hasBus) {
        finding.mark = Mark::ok;
        finding.text = look.isRunning ? "the program is running" : "the program is not running";
    }
    return finding;
}

Finding trayFinding(const DesktopLook& look) {
    if (look.hasStatusNotifierHost) {
        return {"tray", "Tray", Mark::ok, "StatusNotifierItem", {{"kind", "status_notifier"}}};
    }
    if (look.hasXEmbedTray) {
        return {"tray", "Tray", Mark::ok, "XEmbed", {{"kind", "xembed"}}};
    }
    return {"tray", "Tray", Mark::noted, "none: the program shows a window", {{"kind", "none"}}};
}

} // namespace

Findings desktopFindings(const DesktopLook& look) {
    return {busFinding(look), trayFinding(look)};
}

Finding linksFinding(const std::optional<std::string>& handler) {
    Finding finding{"url_scheme", "Links", Mark::noted, {}, {}};
    if (!handler) {
        finding.text = "could not be looked up: xdg-mime is missing or does not answer";
        return finding;
    }
    finding.facts = {{"handler", *handler}};
    if (*handler == desktopFile) {
        finding.mark = Mark::ok;
        finding.text = "quorvane-tandrel:// opens this program";
    } else if (handler->empty()) {
        finding.text = "nothing opens quorvane-tandrel://";
    } else {
        finding.text = "quorvane-tandrel:// is opened by " + *handler;
    }
    return finding;
}

Finding loginStartFinding(bool isOn) {
    return {"start_at_login",
            "Start at login",
            isOn ? Mark::ok : Mark::noted,
            isOn ? "on" : "off",
            {{"on", isOn}}};
}

Finding logFinding(const LogLook& look) {
    Finding finding{"log",
                    "Log",
                    look.isWritable ? Mark::ok : Mark::noted,
                    look.path + ", ",
                    {{"path", look.path}, {"writable", look.isWritable}}};
    if (look.size) {
        finding.text += sizeText(*look.size);
        finding.facts.emplace_back("bytes", static_cast<std::int64_t>(*look.size));
    } else {
        finding.text += "not there yet";
    }
    finding.text += look.isWritable ? "" : ", cannot be written";
    return finding;
}

} // namespace tandrel::doctor
