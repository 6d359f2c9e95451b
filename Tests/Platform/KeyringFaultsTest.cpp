#include "Platform/CachedCredentialStore.h"
#include "Platform/SecretService/SecretServiceStore.h"
#include "Services/KeychainService.h"
#include "Support/ManualMainQueue.h"
#include "Support/PrivateBus.h"
#include "Support/PrivateKeyring.h"
#include "Support/SmallDisk.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

namespace tandrel {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using test::ManualMainQueue;
using test::PrivateBus;
using test::PrivateKeyring;
using test::SmallDisk;
using Key = KeychainService::Key;

/// A keyring whose own files meet what a disk can do to them. What the keyring says it has kept, it
/// must have kept; what it refuses, the program holds for its run.
class KeyringFaults : public testing::Test {
protected:
    static void SetUpTestSuite() {
        bus = std::make_unique<PrivateBus>(std::getenv("HOME"));
        bus->makeDefault();
    }
    static void TearDownTestSuite() { bus.reset(); }

    KeyringFaults() {
        std::string pattern = (fs::path(std::getenv("HOME")) / "kXXXXXX").string();
        folder = mkdtemp(pattern.data());
        fs::create_directory_symlink(disk.path(), folder / "data");
        keyring = std::make_unique<PrivateKeyring>(*bus, folder);
    }
    ~KeyringFaults() override {
        keyring.reset();
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }

    [[nodiscard]] fs::path keyringFiles() const { return disk.path() / "keyrings"; }
    [[nodiscard]] std::optional<std::string> stored() const {
        return keyring->lookup(std::string(KeychainService::service),
                               std::string(KeychainService::account(Key::accessToken)));
    }
    [[nodiscard]] CredentialStatus add(const std::string& value) {
        return store.add(KeychainService::service, KeychainService::account(Key::accessToken),
                         value);
    }
    [[nodiscard]] CredentialStatus read(std::string& value) {
        return store.copyMatching(KeychainService::service,
                                  KeychainService::account(Key::accessToken), value);
    }

    static inline std::unique_ptr<PrivateBus> bus;
    SmallDisk disk;
    fs::path folder;
    std::unique_ptr<PrivateKeyring> keyring;
    SecretServiceStore store;
};

TEST_F(KeyringFaults, WhatAFullDiskRefusesIsNotTakenForKept) {
    disk.fill();
    const CredentialStatus status = add("token");
    EXPECT_NE(status, CredentialStatus::noStore);
    disk.clear();
    keyring->restart();
    EXPECT_EQ(stored().has_value(), status == CredentialStatus::success);
    EXPECT_EQ(add("again"), stored() ? CredentialStatus::duplicateItem : CredentialStatus::success);
}

TEST_F(KeyringFaults, WhatAReadOnlyDiskRefusesIsNotTakenForKept) {
    ASSERT_EQ(add("old"), CredentialStatus::success);
    disk.setReadOnly(true);
    const CredentialStatus removed =
        store.remove(KeychainService::service, KeychainService::account(Key::accessToken));
    keyring->restart();
    EXPECT_EQ(stored().has_value(), removed != CredentialStatus::success);
    disk.setReadOnly(false);
    keyring->restart();
    std::string value;
    EXPECT_EQ(read(value), CredentialStatus::success);
    EXPECT_EQ(value, "old");
}

TEST_F(KeyringFaults, ACorruptKeyringIsNoneOfOursAndHoldsNothingUp) {
    ASSERT_EQ(add("token"), CredentialStatus::success);
    keyring->kill();
    for (const auto& entry : fs::directory_iterator(keyringFiles())) {
        if (entry.path().extension() == ".keyring") {
            std::ofstream(entry.path(), std::ios::binary | std::ios::trunc)
                << std::string("\0GnomeKeyring\n\r\0\n rubbish", 26);
        }
    }
    keyring->restart();
    std::string value;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_NE(read(value), CredentialStatus::success);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 10s);
    // The sign-in lasts for the run, whatever the keyring says.
    ManualMainQueue mainQueue;
    CachedCredentialStore cache(std::make_unique<SecretServiceStore>(), mainQueue);
    KeychainService keychain(cache);
    EXPECT_TRUE(keychain.save("this run's", Key::accessToken));
    EXPECT_EQ(keychain.retrieve(Key::accessToken), "this run's");
}

TEST_F(KeyringFaults, FilesThatAreDeletedWhileItRunsHoldNothingUp) {
    ASSERT_EQ(add("token"), CredentialStatus::success);
    fs::remove_all(keyringFiles());
    // The daemon notices at some time, and forgets.
    std::string value;
    const CredentialStatus status = read(value);
    EXPECT_TRUE(status == CredentialStatus::success ? value == "token"
                                                    : status == CredentialStatus::itemNotFound);
    KeychainService keychain(store);
    const bool isKept = keychain.save("new", Key::accessToken);
    EXPECT_EQ(isKept, stored() == "new");
}

} // namespace
} // namespace tandrel
