#include "Services/SessionState.h"

namespace tandrel {

std::string SessionState::rendering() const {
    switch (kind_) {
    case Kind::idle:
        return "idle";
    case Kind::polling:
        return "polling";
    case Kind::streaming:
        return "streaming";
    case Kind::completed:
        return "completed";
    case Kind::sessionFound:
        break;
    }
    return "sessionFound(sessionId: \"" + session_.sessionId + "\", interviewId: \"" +
           session_.interviewId + "\")";
}

} // namespace tandrel
