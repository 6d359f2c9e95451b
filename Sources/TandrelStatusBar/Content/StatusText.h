#pragma once

#include <optional>
#include <string>

namespace tandrel {

class SessionState;

/// The status item's tooltip: the program's name, and what it is doing if it does something. The
/// words are those of the panel's badge, and of its notice if there is one. An open microphone is
/// told of in any state.
[[nodiscard]] std::string statusText(bool isAuthenticated, const SessionState& state,
                                     const std::optional<std::string>& notice,
                                     bool isMicrophoneOpen);

} // namespace tandrel
