#include "Services/CaptureFaultText.h"

#include <gtest/gtest.h>

namespace tandrel {
namespace {

using Kind = CaptureFault::Kind;

TEST(CaptureFaultText, SaysWhatIsWaitedFor) {
    EXPECT_EQ(waitingText(Kind::deviceLost), "Microphone disconnected. Waiting for it to return…");
    EXPECT_EQ(waitingText(Kind::serverLost),
              "Sound server not available. Waiting for it to return…");
    EXPECT_EQ(waitingText(Kind::stalled), "No sound from the microphone");
}

TEST(CaptureFaultText, SaysWhyTheStreamWasStopped) {
    EXPECT_EQ(stoppedText(Kind::deviceLost), "Microphone disconnected. Streaming stopped.");
    EXPECT_EQ(stoppedText(Kind::serverLost), "Sound server not available. Streaming stopped.");
    EXPECT_EQ(stoppedText(Kind::stalled), "No sound from the microphone. Streaming stopped.");
}

} // namespace
} // namespace tandrel
