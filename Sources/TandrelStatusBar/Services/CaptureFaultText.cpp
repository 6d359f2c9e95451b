#include "Services/CaptureFaultText.h"

namespace tandrel {

namespace {

std::string whatHappened(CaptureFault::Kind kind) {
    switch (kind) {
    case CaptureFault::Kind::deviceLost:
        return "Microphone disconnected";
    case CaptureFault::Kind::serverLost:
        return "Sound server not available";
    case CaptureFault::Kind::stalled:
        break;
    }
    return "No sound from the microphone";
}

} // namespace

std::string waitingText(CaptureFault::Kind kind) {
    const std::string what = whatHappened(kind);
    // A stall passes by itself or not at all; nothing has gone that would return.
    return kind == CaptureFault::Kind::stalled ? what : what + ". Waiting for it to return…";
}

std::string stoppedText(CaptureFault::Kind kind) {
    return whatHappened(kind) + ". Streaming stopped.";
}

} // namespace tandrel
