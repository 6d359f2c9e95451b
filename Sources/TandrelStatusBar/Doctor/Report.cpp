#include "Doctor/Report.h"

#include "Foundation/Console.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <clocale>
#include <cstring>
#include <langinfo.h>
#include <string_view>
#include <unistd.h>

namespace tandrel::doctor {

namespace {

/// The shape of the JSON; a higher number when a reader has to change.
constexpr int formatVersion = 1;
/// Names of devices and words of servers may be as long as they please.
constexpr std::size_t maxTextSize = 300;

std::string_view markText(Mark mark, Glyphs glyphs) {
    const bool isUnicode = glyphs == Glyphs::unicode;
    switch (mark) {
    case Mark::ok:
        return isUnicode ? "✓" : "[ok]";
    case Mark::failed:
        return isUnicode ? "✗" : "[!!]";
    case Mark::noted:
        break;
    }
    return isUnicode ? "–" : "[--]";
}

std::string_view markName(Mark mark) {
    switch (mark) {
    case Mark::ok:
        return "ok";
    case Mark::failed:
        return "failed";
    case Mark::noted:
        break;
    }
    return "noted";
}

/// At most `maxTextSize` bytes, and no part of a character.
std::string bounded(const std::string& text) {
    if (text.size() <= maxTextSize) {
        return text;
    }
    std::size_t size = maxTextSize;
    while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xc0U) == 0x80U) {
        --size;
    }
    return text.substr(0, size) + "...";
}

/// Columns of a title, which is ASCII.
std::size_t titleWidth(const Findings& findings) {
    std::size_t width = 0;
    for (const Finding& finding : findings) {
        width = finding.isDetail ? width : std::max(width, finding.title.size());
    }
    return width;
}

std::string line(const Finding& finding, std::size_t width, Glyphs glyphs) {
    std::string text(finding.isDetail ? 4 : 0, ' ');
    text.append(markText(finding.mark, glyphs)).append(" ");
    std::string title = printable(bounded(finding.title));
    if (finding.isDetail) {
        title += ':';
    } else {
        title.resize(std::max(width, title.size()), ' ');
    }
    return text.append(title).append(" ").append(printable(bounded(finding.text))) + '\n';
}

} // namespace

bool isReady(const Findings& findings) {
    return std::none_of(findings.begin(), findings.end(),
                        [](const Finding& finding) { return finding.mark == Mark::failed; });
}

Glyphs glyphsForStandardOutput() {
    // The program's own locale is set only with a user interface.
    const locale_t locale = ::newlocale(LC_CTYPE_MASK, "", nullptr);
    const bool isUtf8 =
        locale != nullptr && std::strcmp(::nl_langinfo_l(CODESET, locale), "UTF-8") == 0;
    if (locale != nullptr) {
        ::freelocale(locale);
    }
    return isUtf8 && ::isatty(STDOUT_FILENO) == 1 ? Glyphs::unicode : Glyphs::ascii;
}

std::string textReport(const Program& program, const Findings& findings, Glyphs glyphs) {
    std::string text = "Quorvane Tandrel " + program.version + " (Qt " + program.qtVersion +
                       ") for " + program.backend + "\n\n";
    const std::size_t width = titleWidth(findings);
    for (const Finding& finding : findings) {
        text += line(finding, width, glyphs);
    }
    text += isReady(findings) ? std::string("\nAll that streaming needs is there.\n")
                              : "\nStreaming needs what is marked " +
                                    std::string(markText(Mark::failed, glyphs)) + ".\n";
    return text;
}

std::string jsonReport(const Program& program, const Findings& findings) {
    using Json = nlohmann::ordered_json;
    Json list = Json::array();
    for (const Finding& finding : findings) {
        Json facts = Json::object();
        for (const auto& [name, value] : finding.facts) {
            std::visit([&facts, &name = name](const auto& known) { facts[name] = known; }, value);
        }
        list.push_back({{"id", finding.id},
                        {"status", markName(finding.mark)},
                        {"text", bounded(finding.text)},
                        {"facts", std::move(facts)}});
    }
    const Json report{
        {"format", formatVersion},
        {"ready", isReady(findings)},
        {"program",
         {{"version", program.version}, {"qt", program.qtVersion}, {"backend", program.backend}}},
        {"findings", std::move(list)}};
    // Names from outside need not be UTF-8; JSON is.
    return report.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

} // namespace tandrel::doctor
