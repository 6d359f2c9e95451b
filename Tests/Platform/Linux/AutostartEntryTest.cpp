#include "Platform/Linux/AutostartEntry.h"

#include "Support/ChildProcess.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace tandrel {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr const char* program = "/usr/bin/quorvane-tandrel";

std::string withoutLine(std::string text, const std::string& line) {
    const auto at = text.find(line);
    EXPECT_NE(at, std::string::npos) << line;
    return text.erase(at, line.size());
}

std::string execLineFor(const std::string& path) {
    const std::string text = autostartEntryText(path, true);
    const auto at = text.find("\nExec=") + 1;
    return text.substr(at, text.find('\n', at) - at);
}

TEST(AutostartEntry, WhatIsWrittenIsReadAsOursAndEnabled) {
    const AutostartEntry entry = parseAutostartEntry(autostartEntryText(program, true));
    EXPECT_TRUE(entry.isOurs);
    EXPECT_TRUE(entry.isEnabled);
    EXPECT_EQ(entry.tryExec, program);
}

TEST(AutostartEntry, OneThatIsToKeepDesktopsFromStartingIsNotEnabled) {
    const AutostartEntry entry = parseAutostartEntry(autostartEntryText(program, false));
    EXPECT_TRUE(entry.isOurs);
    EXPECT_FALSE(entry.isEnabled);
}

TEST(AutostartEntry, StartsTheProgramInTheBackground) {
    EXPECT_EQ(execLineFor(program), "Exec=/usr/bin/quorvane-tandrel --background");
}

TEST(AutostartEntry, HasWhatEachDesktopWaitsForItsPanelBy) {
    const std::string text = autostartEntryText(program, true);
    for (const char* const line :
         {"\nX-GNOME-Autostart-Delay=2\n", "\nX-MATE-Autostart-Delay=2\n",
          "\nX-KDE-autostart-after=panel\n", "\nX-LXQt-Need-Tray=true\n"}) {
        EXPECT_THAT(text, HasSubstr(line));
    }
    // These would keep systemd, or GNOME under systemd, from starting it at all.
    EXPECT_THAT(text, Not(HasSubstr("X-GNOME-Autostart-Phase")));
    EXPECT_THAT(text, Not(HasSubstr("X-GNOME-HiddenUnderSystemd")));
}

TEST(AutostartEntry, APathIsQuotedWhereTheSpecificationAsksForIt) {
    EXPECT_EQ(execLineFor("/opt/My Programs/tandrel"),
              R"(Exec="/opt/My Programs/tandrel" --background)");
    EXPECT_EQ(execLineFor("/opt/100%/tandrel"), "Exec=/opt/100%%/tandrel --background");
    // Once for the argument's quotes, once more for the string.
    EXPECT_EQ(execLineFor("/opt/$a`b\"c/t"), R"(Exec="/opt/\\$a\\`b\\"c/t" --background)");
    EXPECT_EQ(execLineFor("/opt/a\\b"), R"(Exec="/opt/a\\\\b" --background)");
    EXPECT_EQ(execLineFor("/opt/a\nb"), R"(Exec="/opt/a\nb" --background)");
}

TEST(AutostartEntry, TheProgramThatIsLookedForIsReadAsItWasWritten) {
    for (const char* const path : {"/opt/My Programs/t", "/opt/a\\b", "/opt/a\tb", "/opt/ä%",
                                   "/opt/t ", "/opt/t  \t ", "/"}) {
        EXPECT_EQ(parseAutostartEntry(autostartEntryText(path, true)).tryExec, path);
    }
}

TEST(AutostartEntry, AFileWithoutOurMarkIsNotOurs) {
    const std::string text =
        withoutLine(autostartEntryText(program, true), "X-Quorvane-Tandrel-Written=true\n");
    const AutostartEntry entry = parseAutostartEntry(text);
    EXPECT_FALSE(entry.isOurs);
    EXPECT_TRUE(entry.isEnabled);
}

TEST(AutostartEntry, ADesktopsOwnToolCanSwitchItOff) {
    for (const char* const line : {"Hidden=true", "X-GNOME-Autostart-enabled=false",
                                   "X-MATE-Autostart-enabled = false \r"}) {
        const AutostartEntry entry =
            parseAutostartEntry("[Desktop Entry]\nExec=tandrel\n" + std::string(line) + '\n');
        EXPECT_FALSE(entry.isEnabled) << line;
    }
    EXPECT_TRUE(parseAutostartEntry("[Desktop Entry]\nExec=tandrel\nHidden=false").isEnabled);
}

TEST(AutostartEntry, OnlyTheDesktopEntryCounts) {
    EXPECT_TRUE(parseAutostartEntry("[Desktop Entry]\nExec=tandrel\n# Hidden=true\n"
                                    "[Desktop Action Off]\nHidden=true\n")
                    .isEnabled);
    EXPECT_FALSE(parseAutostartEntry("[Desktop Action Start]\nExec=tandrel\n").isEnabled);
}

TEST(AutostartEntry, WhatIsNoDesktopEntryIsNeitherOursNorEnabled) {
    for (const std::string& text :
         {std::string(), std::string("\0\xff=\n", 4), std::string("[Desktop Entry]\nType=Link"),
          std::string("[Desktop Entry\nX-Quorvane-Tandrel-Written=true")}) {
        const AutostartEntry entry = parseAutostartEntry(text);
        EXPECT_FALSE(entry.isOurs);
        EXPECT_FALSE(entry.isEnabled);
    }
}

TEST(AutostartEntry, TheDesktopsValidatorFindsNoFault) {
    const auto file = std::filesystem::path(std::getenv("HOME")) / "com.quorvane.Tandrel.desktop";
    for (const bool isEnabled : {true, false}) {
        std::ofstream(file) << autostartEntryText("/opt/My Programs/tandrel", isEnabled);
        const auto output =
            test::ChildProcess::run({"desktop-file-validate", "--warn-kde", file.string()}, {});
        EXPECT_EQ(output.exitCode, 0) << output.text;
        EXPECT_EQ(output.text, "");
    }
}

} // namespace
} // namespace tandrel
