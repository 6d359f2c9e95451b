#include "Services/SessionState.h"

#include <gmock/gmock.h>

#include <vector>

namespace tandrel {
namespace {

const std::vector<SessionState> distinct = {SessionState::idle(),
                                            SessionState::polling(),
                                            SessionState::streaming(),
                                            SessionState::completed(),
                                            SessionState::sessionFound({"s1", "t", "i"}),
                                            SessionState::sessionFound({"s2", "t", "i"})};

TEST(SessionState, IsEqualByCaseAndSessionId) {
    for (std::size_t left = 0; left < distinct.size(); ++left) {
        for (std::size_t right = 0; right < distinct.size(); ++right) {
            EXPECT_EQ(distinct[left] == distinct[right], left == right) << left << " " << right;
        }
    }
    EXPECT_EQ(SessionState::sessionFound({"s1", "a", "b"}),
              SessionState::sessionFound({"s1", "c", "d"}));
    EXPECT_NE(SessionState::sessionFound({"", "", ""}), SessionState::idle());
}

TEST(SessionState, StartsIdle) {
    EXPECT_EQ(SessionState(), SessionState::idle());
    EXPECT_EQ(SessionState().session(), nullptr);
}

TEST(SessionState, RendersCaseAndPayloadButNeverTheToken) {
    EXPECT_EQ(SessionState::idle().rendering(), "idle");
    EXPECT_EQ(SessionState::polling().rendering(), "polling");
    EXPECT_EQ(SessionState::streaming().rendering(), "streaming");
    EXPECT_EQ(SessionState::completed().rendering(), "completed");
    EXPECT_EQ(SessionState::sessionFound({"s1", "secret", "i1"}).rendering(),
              "sessionFound(sessionId: \"s1\", interviewId: \"i1\")");
}

} // namespace
} // namespace tandrel
