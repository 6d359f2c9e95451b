#include "Platform/CachedCredentialStore.h"
#include "Platform/SecretService/SecretServiceStore.h"
#include "Services/KeychainService.h"
#include "Support/ManualMainQueue.h"
#include "Support/PrivateBus.h"
#include "Support/PrivateKeyring.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using test::ManualMainQueue;
using test::PrivateBus;
using test::PrivateKeyring;
using Key = KeychainService::Key;

const std::string service(KeychainService::service);

TEST(SecretServiceAbsence, WithoutABusSecretsLiveInMemoryForThisRun) {
    ManualMainQueue queue;
    CachedCredentialStore cache(std::make_unique<SecretServiceStore>(), queue);
    KeychainService keychain(cache);
    bool loaded = false;
    const Handle handle =
        cache.load({{service, std::string(KeychainService::account(Key::accessToken))}},
                   [&](CredentialAccess /*access*/) { loaded = true; });
    ASSERT_TRUE(queue.drainUntil([&] { return loaded; }));
    EXPECT_TRUE(keychain.save("token", Key::accessToken));
    EXPECT_TRUE(keychain.save("newer", Key::accessToken));
    EXPECT_TRUE(cache.flush(20s));
    EXPECT_EQ(keychain.retrieve(Key::accessToken), "newer");
    EXPECT_TRUE(keychain.remove(Key::accessToken));
    EXPECT_EQ(keychain.retrieve(Key::accessToken), std::nullopt);
}

TEST(SecretServiceAbsence, WithoutABusEveryOperationSaysThatThereIsNoStore) {
    SecretServiceStore store;
    std::string untouched = "as it was";
    EXPECT_EQ(store.add(service, "account", "value"), CredentialStatus::noStore);
    EXPECT_EQ(store.copyMatching(service, "account", untouched), CredentialStatus::noStore);
    EXPECT_EQ(store.remove(service, "account"), CredentialStatus::noStore);
    EXPECT_EQ(untouched, "as it was");
}

TEST(SecretServiceAbsence, AServiceThatComesLaterIsFoundAndTheProcessOutlivesItsBus) {
    const std::filesystem::path home = std::getenv("HOME");
    auto bus = std::make_unique<PrivateBus>(home);
    bus->makeDefault();
    SecretServiceStore store;
    EXPECT_EQ(store.add(service, "account", "value"), CredentialStatus::noStore);

    auto keyring = std::make_unique<PrivateKeyring>(*bus, home / "k");
    EXPECT_EQ(store.add(service, "account", "value"), CredentialStatus::success);
    EXPECT_EQ(keyring->lookup(service, "account"), "value");

    keyring.reset();
    bus.reset();
    EXPECT_EQ(store.remove(service, "account"), CredentialStatus::noStore);
    EXPECT_EQ(store.remove(service, "account"), CredentialStatus::noStore);
}

} // namespace
} // namespace tandrel
