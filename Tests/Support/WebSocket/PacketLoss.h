#pragma once

#include <cstdint>

namespace tandrel::test {

/// From now on every packet that comes for this TCP socket is lost before the system has seen it:
/// nothing of it is read or acknowledged, and nobody is told. Aborts the test program when the
/// system refuses.
void loseWhatComesIn(int descriptor);

/// This process's socket that is connected to `port` of this machine, whoever opened it; -1 when
/// there is none.
[[nodiscard]] int descriptorConnectedTo(std::uint16_t port);

} // namespace tandrel::test
