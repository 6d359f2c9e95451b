#include "Platform/ConfigFolder.h"

#include "Platform/LogFolder.h"
#include "Support/EnvironmentVariable.h"

#include <gmock/gmock.h>

#include <string>

namespace tandrel {
namespace {

using test::EnvironmentVariable;

TEST(ConfigFolder, IsWhatTheEnvironmentSays) {
    const EnvironmentVariable folder("XDG_CONFIG_HOME", "/kept/elsewhere");
    EXPECT_EQ(configFolder(), "/kept/elsewhere");
}

TEST(ConfigFolder, LiesInTheHomeDirectoryWithoutAnAbsolutePath) {
    const EnvironmentVariable home("HOME", "/home/ada");
    for (const char* path : {"", "relative/path"}) {
        const EnvironmentVariable folder("XDG_CONFIG_HOME", path);
        EXPECT_EQ(configFolder(), "/home/ada/.config") << path;
    }
}

TEST(ConfigFolder, WithoutAHomeInTheEnvironmentTheUserDatabaseAnswers) {
    const EnvironmentVariable folder("XDG_CONFIG_HOME", "");
    const EnvironmentVariable home("HOME", "");
    EXPECT_EQ(configFolder(), homeDirectory() + "/.config");
    EXPECT_GT(configFolder().size(), std::string("/.config").size());
}

} // namespace
} // namespace tandrel
