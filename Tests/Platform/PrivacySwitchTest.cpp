#include "BuildPaths.h"
#include "Support/ChildProcess.h"
#include "Support/PrivateBus.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace tandrel {
namespace {

namespace fs = std::filesystem;
using test::ChildProcess;
using test::EnvironmentChanges;
using test::PrivateBus;

/// The real settings library with the real schemas; the values in a file of the test's own.
class PrivacySwitchTest : public testing::Test {
protected:
    PrivacySwitchTest() {
        fs::remove_all(folder_);
        fs::create_directories(folder_ / "config/glib-2.0/settings");
        fs::create_directories(folder_ / "data/glib-2.0/schemas");
        environment["GSETTINGS_BACKEND"] = "keyfile";
        environment["XDG_CONFIG_HOME"] = (folder_ / "config").string();
        environment["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=/nonexistent";
    }

    void store(const std::string& value) const {
        std::ofstream(folder_ / "config/glib-2.0/settings/keyfile")
            << "[org/gnome/desktop/privacy]\ndisable-microphone=" << value << '\n';
    }

    /// No schemas but the one whose keys are `keys`.
    void installSchema(const std::string& keys) {
        const fs::path schemas = folder_ / "data/glib-2.0/schemas";
        std::ofstream(schemas / "test.gschema.xml")
            << R"(<schemalist><schema id="org.gnome.desktop.privacy" )"
               R"(path="/org/gnome/desktop/privacy/">)"
            << keys << "</schema></schemalist>";
        ASSERT_EQ(ChildProcess::run({"glib-compile-schemas", schemas.string()}, {}).exitCode, 0);
        hideInstalledSchemas();
    }
    void hideInstalledSchemas() {
        environment["XDG_DATA_DIRS"] = (folder_ / "data").string();
        environment["XDG_DATA_HOME"] = (folder_ / "none").string();
    }

    [[nodiscard]] std::string answer() const {
        const auto output =
            ChildProcess::run({TANDREL_BUILD_BIN "/PrivacySwitchProbe"}, environment);
        EXPECT_EQ(output.exitCode, 0);
        return output.text;
    }

    const fs::path folder_ = fs::path(std::getenv("HOME")) / "privacy";
    EnvironmentChanges environment;
};

TEST_F(PrivacySwitchTest, MicrophonesAreOnUnlessTheSwitchIsUsed) {
    EXPECT_EQ(answer(), "on\n");
    store("false");
    EXPECT_EQ(answer(), "on\n");
}

TEST_F(PrivacySwitchTest, TheSwitchTurnsThemOff) {
    store("true");
    EXPECT_EQ(answer(), "off\n");
}

TEST_F(PrivacySwitchTest, ASessionBusChangesNothing) {
    const PrivateBus bus(std::getenv("HOME"));
    environment.insert_or_assign("DBUS_SESSION_BUS_ADDRESS", bus.address());
    store("true");
    EXPECT_EQ(answer(), "off\n");
}

TEST_F(PrivacySwitchTest, WithoutTheSchemaTheyAreOn) {
    hideInstalledSchemas();
    store("true");
    EXPECT_EQ(answer(), "on\n");
}

TEST_F(PrivacySwitchTest, WithAnOlderSchemaThatLacksTheSwitchTheyAreOn) {
    installSchema(R"(<key name="disable-camera" type="b"><default>false</default></key>)");
    store("true");
    EXPECT_EQ(answer(), "on\n");
}

TEST_F(PrivacySwitchTest, WithASwitchOfAnotherTypeTheyAreOn) {
    installSchema(R"(<key name="disable-microphone" type="s"><default>'yes'</default></key>)");
    EXPECT_EQ(answer(), "on\n");
}

TEST_F(PrivacySwitchTest, AValueThatCannotBeReadIsTheDefault) {
    store("perhaps");
    EXPECT_EQ(answer(), "on\n");
}

} // namespace
} // namespace tandrel
