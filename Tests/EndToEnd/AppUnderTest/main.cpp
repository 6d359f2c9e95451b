// The app as it is, but for what is compiled into the real one: here variables of the environment
// say where the backend, the web app and the product's site are, and the updates with their key;
// and but for the wall clock, which a test can set.

#include "Program.h"
#include "WallClock.h"

#include <cstdlib>
#include <string>

namespace {

std::string variable(const char* name, const char* otherwise) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : otherwise;
}

} // namespace

int main(int argc, char** argv) {
    tandrel::test::useTestClock();
    const std::string address = variable("TANDREL_TEST_ADDRESS", "http://127.0.0.1:9");
    return tandrel::runProgram(argc, argv,
                               {address, address, address, variable("TANDREL_TEST_UPDATE_FEED", ""),
                                variable("TANDREL_TEST_UPDATE_KEY", "")});
}
