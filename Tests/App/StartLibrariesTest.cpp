#include "BuildPaths.h"
#include "Support/ChildProcess.h"
#include "Support/FileText.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace tandrel::test {
namespace {

using testing::HasSubstr;
using testing::Not;

/// What the system loads before the program's first line: the dynamic linker lists it in place of
/// running the program.
std::string librariesOf(const std::string& program) {
    const auto output = std::filesystem::path(std::getenv("HOME")) / "libraries";
    ChildProcess process({program}, {{"LD_TRACE_LOADED_OBJECTS", "1"}}, output);
    EXPECT_EQ(process.waitForExit(std::chrono::seconds(20)), 0);
    return textOf(output);
}

TEST(StartLibraries, NetworkSoundAndKeyringAreNotLoadedBeforeTheIconIsThere) {
    const std::string libraries = librariesOf(TANDREL_BUILD_BIN "/quorvane-tandrel");
    EXPECT_THAT(libraries, HasSubstr("libQt6Widgets"));
    for (const char* const heavy :
         {"libQt6Network", "libpulse", "libsecret", "libgio", "libcrypto"}) {
        EXPECT_THAT(libraries, Not(HasSubstr(heavy)));
    }
}

} // namespace
} // namespace tandrel::test
