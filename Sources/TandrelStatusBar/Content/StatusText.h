#pragma once

#include <string>

namespace tandrel {

class SessionState;

/// The status item's tooltip: the program's name, and what it is doing if it does something. The
/// words are those of the panel's badge. An open microphone is told of in any state.
[[nodiscard]] std::string statusText(bool isAuthenticated, const SessionState& state,
                                     bool isMicrophoneOpen);

} // namespace tandrel
