#include "Platform/SecretService/KeyringLook.h"

#include "FakeSystemPrompter.h"
#include "Support/PrivateBus.h"
#include "Support/PrivateKeyring.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

namespace tandrel {
namespace {

namespace fs = std::filesystem;
using State = KeyringLook::State;
using test::FakeSystemPrompter;
using test::PrivateBus;
using test::PrivateKeyring;

constexpr const char* service = "TandrelStatusBar";
constexpr const char* account = "quorvane-access-token";

/// One bus for all cases, since a process keeps its connection to the session bus.
class KeyringLookTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        bus = std::make_unique<PrivateBus>(std::getenv("HOME"));
        bus->makeDefault();
    }
    static void TearDownTestSuite() { bus.reset(); }

    KeyringLookTest() {
        std::string pattern = (fs::path(std::getenv("HOME")) / "kXXXXXX").string();
        folder = mkdtemp(pattern.data());
    }
    ~KeyringLookTest() override {
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }

    static std::unique_ptr<PrivateBus> bus;
    fs::path folder;
};

std::unique_ptr<PrivateBus> KeyringLookTest::bus;

TEST_F(KeyringLookTest, FindsTheItemOfAnUnlockedKeyring) {
    const PrivateKeyring keyring(*bus, folder);
    keyring.store(service, account, "the token");
    const KeyringLook look = lookIntoKeyring(service, account);
    EXPECT_EQ(look.state, State::unlocked);
    EXPECT_TRUE(look.hasItem);
    EXPECT_EQ(look.value, "the token");
    EXPECT_EQ(keyring.count(service, account), 1U);
}

TEST_F(KeyringLookTest, TellsAnItemApartFromItsNeighbours) {
    const PrivateKeyring keyring(*bus, folder);
    keyring.store(service, "quorvane-refresh-token", "another");
    const KeyringLook look = lookIntoKeyring(service, account);
    EXPECT_EQ(look.state, State::unlocked);
    EXPECT_FALSE(look.hasItem);
    EXPECT_EQ(look.value, std::nullopt);
}

TEST_F(KeyringLookTest, ALockedKeyringIsNotUnlockedAndAsksNobody) {
    PrivateKeyring keyring(*bus, folder);
    keyring.store(service, account, "the token");
    keyring.restart(PrivateKeyring::Start::locked);
    const FakeSystemPrompter prompter(bus->address(), FakeSystemPrompter::User::neverAnswers);
    const KeyringLook look = lookIntoKeyring(service, account);
    EXPECT_EQ(look.state, State::locked);
    EXPECT_TRUE(look.hasItem);
    EXPECT_EQ(look.value, std::nullopt);
    EXPECT_EQ(prompter.promptCount(), 0U);
}

TEST_F(KeyringLookTest, AServiceWithoutAKeyringIsNotAskedToMakeOne) {
    const PrivateKeyring keyring(*bus, folder, PrivateKeyring::Start::locked);
    const FakeSystemPrompter prompter(bus->address(), FakeSystemPrompter::User::neverAnswers);
    const KeyringLook look = lookIntoKeyring(service, account);
    EXPECT_EQ(look.state, State::missing);
    EXPECT_FALSE(look.hasItem);
    EXPECT_EQ(prompter.promptCount(), 0U);
}

TEST_F(KeyringLookTest, WithoutASecretServiceThereIsNoneToReach) {
    const KeyringLook look = lookIntoKeyring(service, account);
    EXPECT_EQ(look.state, State::unreachable);
    EXPECT_FALSE(look.hasItem);
}

} // namespace
} // namespace tandrel
