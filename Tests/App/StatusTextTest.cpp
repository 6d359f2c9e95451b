#include "Content/StatusText.h"

#include "Services/SessionState.h"

#include <gmock/gmock.h>

namespace tandrel {
namespace {

TEST(StatusText, IsTheNameWhileNobodyIsSignedIn) {
    EXPECT_EQ(statusText(false, SessionState::idle()), "Quorvane Tandrel");
}

TEST(StatusText, SaysWhatTheProgramIsDoing) {
    EXPECT_EQ(statusText(true, SessionState::idle()), "Quorvane Tandrel — Idle");
    EXPECT_EQ(statusText(true, SessionState::polling()), "Quorvane Tandrel — Waiting");
    EXPECT_EQ(statusText(true, SessionState::sessionFound({})), "Quorvane Tandrel — Ready");
    EXPECT_EQ(statusText(true, SessionState::streaming()), "Quorvane Tandrel — Streaming");
    EXPECT_EQ(statusText(true, SessionState::completed()), "Quorvane Tandrel — Done");
}

} // namespace
} // namespace tandrel
