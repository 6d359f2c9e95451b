#pragma once

#include <string>

namespace tandrel {

/// Makes the folder at `path`, with those above it, and keeps others out of it (mode 0700), also
/// when it was there before. A link in its place is left as it is. Failures are silent: what is put
/// there then fails. Any thread.
void makePrivateFolder(const std::string& path);

} // namespace tandrel
