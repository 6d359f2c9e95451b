#pragma once

namespace tandrel {

/// From now on a crash leaves no copy of this process's memory, which may hold a password and
/// tokens, unless whoever debugs it raises the limit again. Programs that it starts inherit that.
void refuseCoreDumps();

} // namespace tandrel
