// The app as it is, but for its addresses, which are compiled into the real one: here a variable of
// the environment says where the backend, the web app and the product's site are; and but for the
// wall clock, which a test can set.

#include "Program.h"
#include "WallClock.h"

#include <cstdlib>
#include <string>

int main(int argc, char** argv) {
    tandrel::test::useTestClock();
    const char* variable = std::getenv("TANDREL_TEST_ADDRESS");
    const std::string address = variable != nullptr ? variable : "http://127.0.0.1:9";
    return tandrel::runProgram(argc, argv, {address, address, address});
}
