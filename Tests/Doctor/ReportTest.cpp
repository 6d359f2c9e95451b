#include "Doctor/Report.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <string>

namespace tandrel::doctor {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

const Program program{"1.2.3", "6.4.2", "https://api.test"};

Findings someFindings() {
    return {{"backend",
             "Backend",
             Mark::ok,
             "answers after 12 ms",
             {{"milliseconds", std::int64_t{12}}}},
            {"microphones", "Microphones", Mark::failed, "1, but it gives no sound"},
            {"microphone", "Headset", Mark::noted, "silence", {{"level_dbfs", -42.5}}, true},
            {"log", "Log", Mark::noted, "not there yet", {{"writable", true}, {"path", "/x"}}}};
}

TEST(DoctorReport, IsReadyUnlessSomethingThatIsNeededFailed) {
    Findings findings = someFindings();
    EXPECT_FALSE(isReady(findings));
    findings[1].mark = Mark::noted;
    EXPECT_TRUE(isReady(findings));
    EXPECT_TRUE(isReady({}));
}

TEST(DoctorReport, ForPeopleHasALineEachWithTheTextsInOneColumn) {
    EXPECT_EQ(textReport(program, someFindings(), Glyphs::unicode),
              "Quorvane Tandrel 1.2.3 (Qt 6.4.2) for https://api.test\n"
              "\n"
              "✓ Backend     answers after 12 ms\n"
              "✗ Microphones 1, but it gives no sound\n"
              "    – Headset: silence\n"
              "– Log         not there yet\n"
              "\n"
              "Streaming needs what is marked ✗.\n");
}

TEST(DoctorReport, HasMarksInPlainAscii) {
    EXPECT_EQ(textReport(program, someFindings(), Glyphs::ascii),
              "Quorvane Tandrel 1.2.3 (Qt 6.4.2) for https://api.test\n"
              "\n"
              "[ok] Backend     answers after 12 ms\n"
              "[!!] Microphones 1, but it gives no sound\n"
              "    [--] Headset: silence\n"
              "[--] Log         not there yet\n"
              "\n"
              "Streaming needs what is marked [!!].\n");
}

TEST(DoctorReport, SaysWhenAllIsThere) {
    EXPECT_THAT(textReport(program, {{"log", "Log", Mark::noted, "x"}}, Glyphs::unicode),
                EndsWith("\nAll that streaming needs is there.\n"));
}

TEST(DoctorReport, WhatComesFromOutsideStaysOnItsLineAndIsCut) {
    const Findings findings{{"microphone",
                             "Evil\x1b[2J\nName",
                             Mark::ok,
                             std::string(200, 'x') + std::string(200, '\xc3'),
                             {},
                             true},
                            {"log", "Log", Mark::ok, std::string(299, 'x') + "äää"}};
    const std::string text = textReport(program, findings, Glyphs::ascii);
    EXPECT_THAT(text, HasSubstr("Evil\\x1b[2J\\x0aName: "));
    EXPECT_THAT(text, Not(HasSubstr("\x1b")));
    EXPECT_THAT(text, HasSubstr(" " + std::string(299, 'x') + "...\n")) << "no half character";
}

TEST(DoctorReport, ForProgramsIsOneObjectOfAKnownShape) {
    const std::string text = jsonReport(program, someFindings());
    EXPECT_THAT(text, EndsWith("}\n"));
    const auto report = nlohmann::json::parse(text);
    EXPECT_EQ(report, nlohmann::json::parse(R"({
        "format": 1,
        "ready": false,
        "program": {"version": "1.2.3", "qt": "6.4.2", "backend": "https://api.test"},
        "findings": [
            {"id": "backend", "status": "ok", "text": "answers after 12 ms",
             "facts": {"milliseconds": 12}},
            {"id": "microphones", "status": "failed", "text": "1, but it gives no sound", "facts": {}},
            {"id": "microphone", "status": "noted", "text": "silence", "facts": {"level_dbfs": -42.5}},
            {"id": "log", "status": "noted", "text": "not there yet",
             "facts": {"writable": true, "path": "/x"}}
        ]})"));
}

TEST(DoctorReport, ForProgramsIsJsonWhateverCameFromOutside) {
    const Findings findings{{"microphone", "x", Mark::ok, "\xff\x01\"\\\n", {{"name", "\xc3"}}}};
    const auto report = nlohmann::json::parse(jsonReport(program, findings));
    EXPECT_EQ(report["findings"][0]["text"], "\xef\xbf\xbd\x01\"\\\n");
    EXPECT_EQ(report["findings"][0]["facts"]["name"], "\xef\xbf\xbd");
}

TEST(DoctorReport, OutputThatIsNoTerminalGetsAscii) {
    // A test's output is captured.
    testing::internal::CaptureStdout();
    EXPECT_EQ(glyphsForStandardOutput(), Glyphs::ascii);
    (void)testing::internal::GetCapturedStdout();
}

} // namespace
} // namespace tandrel::doctor
