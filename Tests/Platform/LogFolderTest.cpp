#include "Platform/LogFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <pwd.h>
#include <string>
#include <unistd.h>

namespace tandrel {
namespace {

class HomeVariable {
public:
    explicit HomeVariable(const char* value) {
        if (value == nullptr) {
            unsetenv("HOME");
        } else {
            setenv("HOME", value, 1);
        }
    }
    ~HomeVariable() { setenv("HOME", previous_.c_str(), 1); }
    HomeVariable(const HomeVariable&) = delete;
    HomeVariable& operator=(const HomeVariable&) = delete;

private:
    std::string previous_ = std::getenv("HOME");
};

TEST(LogFolder, TheHomeDirectoryIsWhatTheEnvironmentSays) {
    const HomeVariable home("/srv/people/ann/");
    EXPECT_EQ(homeDirectory(), "/srv/people/ann");
}

TEST(LogFolder, TheUserDatabaseAnswersWhenTheEnvironmentNamesNoAbsolutePath) {
    const std::string inDatabase = getpwuid(getuid())->pw_dir;
    for (const char* useless : {static_cast<const char*>(nullptr), "", "relative/path"}) {
        const HomeVariable home(useless);
        EXPECT_EQ(homeDirectory(), inDatabase);
    }
}

#ifndef __APPLE__
TEST(LogFolder, LiesBelowTheHomeDirectoryWhateverXdgSays) {
    EXPECT_EQ(logFolder("/home/ann"), "/home/ann/.local/state/quorvane-tandrel");
}
#endif

} // namespace
} // namespace tandrel
