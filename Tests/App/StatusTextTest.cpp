#include "Content/StatusText.h"

#include "Services/SessionState.h"

#include <gmock/gmock.h>

namespace tandrel {
namespace {

TEST(StatusText, IsTheNameWhileNobodyIsSignedIn) {
    EXPECT_EQ(statusText(false, SessionState::idle(), {}, false), "Quorvane Tandrel");
}

TEST(StatusText, SaysWhatTheProgramIsDoing) {
    EXPECT_EQ(statusText(true, SessionState::idle(), {}, false), "Quorvane Tandrel — Idle");
    EXPECT_EQ(statusText(true, SessionState::polling(), {}, false), "Quorvane Tandrel — Waiting");
    EXPECT_EQ(statusText(true, SessionState::sessionFound({}), {}, false),
              "Quorvane Tandrel — Ready");
    EXPECT_EQ(statusText(true, SessionState::streaming(), {}, false),
              "Quorvane Tandrel — Streaming");
    EXPECT_EQ(statusText(true, SessionState::completed(), {}, false), "Quorvane Tandrel — Done");
}

TEST(StatusText, TellsOfWhatHindersTheStream) {
    EXPECT_EQ(statusText(true, SessionState::streaming(), "No sound from the microphone", false),
              "Quorvane Tandrel — Streaming — No sound from the microphone");
    EXPECT_EQ(statusText(true, SessionState::streaming(), "Connection lost. Reconnecting…", true),
              "Quorvane Tandrel — Streaming — Connection lost. Reconnecting… — microphone on");
}

TEST(StatusText, TellsOfAnOpenMicrophone) {
    EXPECT_EQ(statusText(true, SessionState::streaming(), {}, true),
              "Quorvane Tandrel — Streaming — microphone on");
    EXPECT_EQ(statusText(false, SessionState::idle(), {}, true),
              "Quorvane Tandrel — microphone on");
}

} // namespace
} // namespace tandrel
