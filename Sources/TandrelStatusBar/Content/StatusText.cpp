#include "Content/StatusText.h"

#include "Services/SessionState.h"

namespace tandrel {

namespace {

const char* badgeOf(SessionState::Kind kind) {
    switch (kind) {
    case SessionState::Kind::idle:
        return "Idle";
    case SessionState::Kind::polling:
        return "Waiting";
    case SessionState::Kind::sessionFound:
        return "Ready";
    case SessionState::Kind::streaming:
        return "Streaming";
    case SessionState::Kind::completed:
        return "Done";
    }
    return "";
}

} // namespace

std::string statusText(bool isAuthenticated, const SessionState& state,
                       const std::optional<std::string>& notice, bool isMicrophoneOpen) {
    std::string text = "Quorvane Tandrel";
    if (isAuthenticated) {
        text.append(" — ").append(badgeOf(state.kind()));
    }
    if (notice) {
        text.append(" — ").append(*notice);
    }
    if (isMicrophoneOpen) {
        text += " — microphone on";
    }
    return text;
}

} // namespace tandrel
