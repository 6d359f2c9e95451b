#pragma once

namespace tandrel::test {

/// From now on the wall clock of this program is ahead of the system's by what the file that
/// TANDREL_TEST_CLOCK names says: eight bytes, seconds, looked at each time. Without the variable
/// it stays the system's. A test cannot set the machine's own clock.
void useTestClock();

} // namespace tandrel::test
