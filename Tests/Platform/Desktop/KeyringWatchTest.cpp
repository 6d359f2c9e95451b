#include "Platform/Desktop/KeyringWatch.h"

#include "Support/Desktop/BusConnection.h"
#include "Support/PrivateBus.h"
#include "Support/Qt/EventLoop.h"

#include <QObject>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>

namespace tandrel {
namespace {

namespace fs = std::filesystem;
using test::BusConnection;
using test::PrivateBus;
using test::runUntil;

QString serviceName() {
    return QStringLiteral("org.freedesktop.secrets");
}

class KeyringWatchTest : public testing::Test {
protected:
    ~KeyringWatchTest() override { fs::remove_all(services); }

    void startBus() {
        bus = std::make_unique<PrivateBus>(home, PrivateBus::Activation{services, {}});
        ours = std::make_unique<BusConnection>(bus->address());
        keyring = std::make_unique<BusConnection>(bus->address());
    }
    void startWatch() {
        watch = std::make_unique<KeyringWatch>(ours->connection());
        QObject::connect(watch.get(), &KeyringWatch::changed, watch.get(), [this] { ++changes; });
        QObject::connect(watch.get(), &KeyringWatch::appeared, watch.get(),
                         [this] { ++appearances; });
    }
    [[nodiscard]] bool learns(bool isThere) {
        return runUntil([&] { return watch->isThere() == isThere; });
    }

    const fs::path home = std::getenv("HOME");
    const fs::path services = home / "services";
    std::unique_ptr<PrivateBus> bus;
    std::unique_ptr<BusConnection> ours;
    std::unique_ptr<BusConnection> keyring;
    std::unique_ptr<KeyringWatch> watch;
    int changes = 0;
    int appearances = 0;
};

TEST_F(KeyringWatchTest, KnowsNothingBeforeTheBusHasAnswered) {
    startBus();
    startWatch();
    EXPECT_EQ(watch->isThere(), std::nullopt);
    EXPECT_TRUE(learns(false));
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(appearances, 0);
}

TEST_F(KeyringWatchTest, FindsOneThatRuns) {
    startBus();
    ASSERT_TRUE(keyring->connection().registerService(serviceName()));
    startWatch();
    EXPECT_TRUE(learns(true));
    EXPECT_EQ(appearances, 0) << "it was there before";
}

TEST_F(KeyringWatchTest, FollowsOneThatComesAndGoes) {
    startBus();
    startWatch();
    ASSERT_TRUE(learns(false));
    for (int times = 1; times <= 2; ++times) {
        ASSERT_TRUE(keyring->connection().registerService(serviceName()));
        EXPECT_TRUE(learns(true));
        EXPECT_TRUE(runUntil([&] { return appearances == times; }));
        ASSERT_TRUE(keyring->connection().unregisterService(serviceName()));
        EXPECT_TRUE(learns(false));
    }
    EXPECT_EQ(changes, 5);
}

TEST_F(KeyringWatchTest, CountsOneThatTheBusCanStartAndStartsNone) {
    fs::create_directories(services);
    std::ofstream(services / "org.freedesktop.secrets.service")
        << "[D-BUS Service]\nName=org.freedesktop.secrets\nExec=/usr/bin/touch "
        << (home / "started").string() << '\n';
    startBus();
    startWatch();
    EXPECT_TRUE(learns(true));
    ASSERT_TRUE(keyring->connection().registerService(serviceName()));
    EXPECT_TRUE(runUntil([&] { return appearances == 1; }));
    ASSERT_TRUE(keyring->connection().unregisterService(serviceName()));
    // Asked after the news was sent, so the watch has had it when this comes.
    startWatch();
    EXPECT_TRUE(learns(true));
    EXPECT_FALSE(fs::exists(home / "started"));
}

TEST_F(KeyringWatchTest, WithoutABusThereIsNoneAtOnce) {
    watch = std::make_unique<KeyringWatch>(QDBusConnection(QStringLiteral("not connected")));
    EXPECT_EQ(watch->isThere(), false);
}

} // namespace
} // namespace tandrel
