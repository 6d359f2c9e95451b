#pragma once

#include <string>

namespace tandrel {

/// The user's home directory: `$HOME` when it is an absolute path, else what the user database
/// says; empty when neither knows. No slash at the end. Any thread.
[[nodiscard]] std::string homeDirectory();

/// The folder below `home` that this system keeps a program's logs in; no slash at the end. It does
/// not follow the XDG variables: the log is found in one place, whatever started the program.
[[nodiscard]] std::string logFolder(const std::string& home);

} // namespace tandrel
