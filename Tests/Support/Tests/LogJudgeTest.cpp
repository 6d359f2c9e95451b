#include "Support/LogJudge.h"

#include <gmock/gmock.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace tandrel::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string logOf(const std::vector<std::string>& lines) {
    std::string log;
    for (const std::string& line : lines) {
        log += "2026-11-15T21:55:03Z " + line + '\n';
    }
    return log;
}

std::string sendLine(int number, const std::string& rest) {
    return "[sendAudioData] #" + std::to_string(number) + rest;
}

std::vector<std::string> throttledSends(std::initializer_list<int> numbers) {
    std::vector<std::string> lines;
    for (const int number : numbers) {
        lines.push_back(sendLine(number, " state=connected bytes=2048 hasTask=true"));
    }
    return lines;
}

TEST(LogJudge, CountsWhatTheThrottleLetsThrough) {
    auto lines = throttledSends({1, 2, 3, 4, 5, 100, 200, 300});
    lines.push_back(sendLine(300, " sent OK"));
    lines.push_back(sendLine(301, " SEND ERROR: gone"));
    lines.emplace_back("[WS] disconnection closeCode=0 error=gone");
    const LogVerdict verdict = judgeLog(logOf(lines));
    EXPECT_THAT(verdict.faults, IsEmpty());
    EXPECT_EQ(verdict.lines, 11U);
    EXPECT_EQ(verdict.throttledLines, 9U);
    EXPECT_EQ(verdict.sendErrors, 1U);
    EXPECT_EQ(verdict.eventLines, 1U);
}

TEST(LogJudge, ALineTooManyOrTooFewIsAFault) {
    EXPECT_THAT(judgeLog(logOf(throttledSends({1, 2, 3, 4, 5, 100, 101}))).faults,
                ElementsAre(HasSubstr("#101")));
    EXPECT_THAT(judgeLog(logOf(throttledSends({1, 2, 3, 4, 5, 100, 300}))).faults,
                ElementsAre(HasSubstr("#300")));
    EXPECT_THAT(judgeLog(logOf(throttledSends({1, 2, 2}))).faults, ElementsAre(HasSubstr("#2")));
    EXPECT_THAT(judgeLog(logOf({sendLine(150, " sent OK")})).faults,
                ElementsAre(HasSubstr("#150")));
}

} // namespace
} // namespace tandrel::test
