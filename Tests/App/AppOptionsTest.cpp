#include "AppOptions.h"

#include "BuildConfig.h"
#include "UrlCommand.h"

#include <gmock/gmock.h>

#include <optional>
#include <string>
#include <vector>

namespace tandrel {
namespace {

using Kind = AppCommand::Kind;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(AppOptions, WithoutArgumentsThereIsNoCommand) {
    const auto parsed = parseAppOptions({});
    EXPECT_TRUE(parsed.proceeds);
    EXPECT_THAT(parsed.options.commands, IsEmpty());
    EXPECT_FALSE(parsed.options.concernsRunningOnly());
}

TEST(AppOptions, CommandsAndURLsKeepTheirOrder) {
    const auto parsed =
        parseAppOptions({"--stop", "quorvane-tandrel://start", "--show", "--start", "--quit"});
    EXPECT_TRUE(parsed.proceeds);
    EXPECT_THAT(parsed.options.commands,
                ElementsAre(AppCommand{Kind::stop, ""},
                            AppCommand{Kind::openURL, "quorvane-tandrel://start"},
                            AppCommand{Kind::show, ""}, AppCommand{Kind::start, ""},
                            AppCommand{Kind::quit, ""}));
}

TEST(AppOptions, AfterTwoDashesEverythingIsAURL) {
    const auto parsed = parseAppOptions({"--", "--stop"});
    EXPECT_THAT(parsed.options.commands, ElementsAre(AppCommand{Kind::openURL, "--stop"}));
}

TEST(AppOptions, StopAndQuitConcernARunningProgramOnly) {
    EXPECT_TRUE(parseAppOptions({"--stop"}).options.concernsRunningOnly());
    EXPECT_TRUE(parseAppOptions({"--stop", "--quit"}).options.concernsRunningOnly());
    EXPECT_FALSE(parseAppOptions({"--stop", "--start"}).options.concernsRunningOnly());
    EXPECT_FALSE(parseAppOptions({"--show"}).options.concernsRunningOnly());
    EXPECT_FALSE(parseAppOptions({"quorvane-tandrel://stop"}).options.concernsRunningOnly());
}

TEST(AppOptions, HelpNamesEveryOption) {
    const auto parsed = parseAppOptions({"--help"});
    EXPECT_FALSE(parsed.proceeds);
    EXPECT_EQ(parsed.exitCode, 0);
    for (const char* const option : {"--show", "--start", "--stop", "--quit", "--background",
                                     "--autostart [on|off]", "--doctor [--json]", "--version"}) {
        EXPECT_THAT(parsed.text, HasSubstr(option));
    }
}

TEST(AppOptions, VersionIsTheBuilds) {
    const auto parsed = parseAppOptions({"-v"});
    EXPECT_FALSE(parsed.proceeds);
    EXPECT_EQ(parsed.exitCode, 0);
    EXPECT_EQ(parsed.text, "quorvane-tandrel " + std::string(config::version) + "\n");
}

TEST(AppOptions, AnUnknownOptionIsAnErrorOfUsage) {
    for (const char* const option : {"--stopp", "-x", "--start=now", "-"}) {
        const auto parsed = parseAppOptions({"--show", option});
        EXPECT_FALSE(parsed.proceeds) << option;
        EXPECT_EQ(parsed.exitCode, 2) << option;
        EXPECT_THAT(parsed.text, HasSubstr(option));
    }
}

TEST(AppOptions, AnUnknownOptionCannotSteerTheTerminal) {
    EXPECT_THAT(parseAppOptions({"--\x1b[2J"}).text, HasSubstr("--\\x1b[2J"));
}

TEST(AppOptions, AStartInTheBackgroundIsNoCommand) {
    const auto parsed = parseAppOptions({"--background"});
    EXPECT_TRUE(parsed.proceeds);
    EXPECT_TRUE(parsed.options.isInBackground);
    EXPECT_THAT(parsed.options.commands, IsEmpty());
    EXPECT_FALSE(parsed.options.concernsRunningOnly());
    EXPECT_FALSE(parseAppOptions({}).options.isInBackground);
}

TEST(AppOptions, TheStartAtLoginIsSwitchedOrLookedAt) {
    EXPECT_EQ(parseAppOptions({}).options.loginStart, std::nullopt);
    EXPECT_EQ(parseAppOptions({"--autostart", "on"}).options.loginStart, LoginStartRequest::on);
    EXPECT_EQ(parseAppOptions({"--autostart", "off"}).options.loginStart, LoginStartRequest::off);
    EXPECT_EQ(parseAppOptions({"--autostart"}).options.loginStart, LoginStartRequest::look);
}

TEST(AppOptions, TheReportIsForPeopleOrForPrograms) {
    EXPECT_EQ(parseAppOptions({}).options.doctor, std::nullopt);
    EXPECT_EQ(parseAppOptions({"--doctor"}).options.doctor, doctor::Format::text);
    EXPECT_EQ(parseAppOptions({"--doctor", "--json"}).options.doctor, doctor::Format::json);
    EXPECT_EQ(parseAppOptions({"--json", "--doctor"}).options.doctor, doctor::Format::json);
}

TEST(AppOptions, WhatDoesNotGoTogetherIsAnErrorOfUsage) {
    const std::vector<std::vector<std::string>> contradictions{
        {"--autostart", "maybe"},
        {"--autostart", ""},
        {"--autostart", "quorvane-tandrel://start"},
        {"--autostart", "on", "--show"},
        {"--show", "--autostart"},
        {"--autostart", "on", "--background"},
        {"--doctor", "--autostart"},
        {"--json"},
        {"--doctor", "--stop"},
        {"--doctor", "quorvane-tandrel://stop"},
        {"--doctor", "--background"},
    };
    for (const auto& arguments : contradictions) {
        const auto parsed = parseAppOptions(arguments);
        EXPECT_FALSE(parsed.proceeds) << testing::PrintToString(arguments);
        EXPECT_EQ(parsed.exitCode, 2) << testing::PrintToString(arguments);
        EXPECT_THAT(parsed.text, HasSubstr("Try --help")) << testing::PrintToString(arguments);
    }
}

TEST(AppOptions, AURLIsCut) {
    const auto parsed = parseAppOptions({"quorvane-tandrel://" + std::string(1'000'000, 'a')});
    ASSERT_EQ(parsed.options.commands.size(), 1U);
    EXPECT_EQ(parsed.options.commands.front().url.size(), UrlCommand::maxURLSize);
}

} // namespace
} // namespace tandrel
