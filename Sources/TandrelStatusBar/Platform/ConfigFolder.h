#pragma once

#include <string>

namespace tandrel {

/// The folder of the user's settings, of all programs: $XDG_CONFIG_HOME where it names an absolute
/// path, else ".config" in the home directory, wherever the environment or the user database says
/// that it is.
[[nodiscard]] std::string configFolder();

} // namespace tandrel
