#include "Platform/SecretService/SecretServiceStore.h"

#include "BuildPaths.h"
#include "FakeSystemPrompter.h"
#include "PlainSecretService.h"
#include "Platform/CachedCredentialStore.h"
#include "Services/KeychainService.h"
#include "Support/ManualMainQueue.h"
#include "Support/PrivateBus.h"
#include "Support/PrivateKeyring.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>

namespace tandrel {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using namespace std::string_literals;
using std::chrono::steady_clock;
using test::ChildProcess;
using test::FakeSystemPrompter;
using test::ManualMainQueue;
using test::PlainSecretService;
using test::PrivateBus;
using test::PrivateKeyring;
using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;
using Key = KeychainService::Key;

const std::string service(KeychainService::service);
const std::string tokenAccount(KeychainService::account(Key::accessToken));

/// One bus for all cases, since a process keeps its connection to the session bus; each case has a
/// keyring of its own.
class SecretServiceStoreTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        bus_ = std::make_unique<PrivateBus>(std::getenv("HOME"));
        bus_->makeDefault();
    }
    static void TearDownTestSuite() { bus_.reset(); }

    SecretServiceStoreTest()
        : folder_(makeFolder())
        , keyring_(*bus_, folder_) {}
    ~SecretServiceStoreTest() override {
        std::error_code ignored;
        fs::remove_all(folder_, ignored);
    }

    static fs::path makeFolder() {
        std::string pattern = (fs::path(std::getenv("HOME")) / "kXXXXXX").string();
        return mkdtemp(pattern.data());
    }

    [[nodiscard]] std::optional<std::string> retrieve(const std::string& account) {
        std::string value;
        return store_.copyMatching(service, account, value) == CredentialStatus::success
                   ? std::optional(value)
                   : std::nullopt;
    }

    static std::unique_ptr<PrivateBus> bus_;
    fs::path folder_;
    PrivateKeyring keyring_;
    SecretServiceStore store_;
    KeychainService keychain_{store_};
};

std::unique_ptr<PrivateBus> SecretServiceStoreTest::bus_;

TEST_F(SecretServiceStoreTest, SavingTheSameKeyTwiceLeavesExactlyOneItemWithTheSecondValue) {
    EXPECT_TRUE(keychain_.save("first", Key::accessToken));
    EXPECT_TRUE(keychain_.save("second", Key::accessToken));
    EXPECT_EQ(keychain_.retrieve(Key::accessToken), "second");
    EXPECT_EQ(keyring_.lookup(service, tokenAccount), "second");
    EXPECT_EQ(keyring_.count(service, tokenAccount), 1U);
}

TEST_F(SecretServiceStoreTest, AddingAnItemThatExistsIsRefusedAndChangesNothing) {
    EXPECT_EQ(store_.add(service, "account", "first"), CredentialStatus::success);
    EXPECT_EQ(store_.add(service, "account", "second"), CredentialStatus::duplicateItem);
    EXPECT_EQ(keyring_.lookup(service, "account"), "first");
}

TEST_F(SecretServiceStoreTest, DeletingAKeyThatWasNeverSavedSucceeds) {
    EXPECT_TRUE(keychain_.remove(Key::refreshToken));
    EXPECT_EQ(store_.remove(service, "never"), CredentialStatus::itemNotFound);
}

TEST_F(SecretServiceStoreTest, DeletingRemovesThatItemOnly) {
    keychain_.save("a", Key::accessToken);
    keychain_.save("b", Key::userId);
    EXPECT_TRUE(keychain_.remove(Key::accessToken));
    EXPECT_EQ(keyring_.count(service, tokenAccount), 0U);
    EXPECT_EQ(keychain_.retrieve(Key::userId), "b");
}

TEST_F(SecretServiceStoreTest, RetrievingAMissingKeyIsAbsentAndNotAnEmptyString) {
    EXPECT_EQ(keychain_.retrieve(Key::accessToken), std::nullopt);
    std::string untouched = "as it was";
    EXPECT_EQ(store_.copyMatching(service, "never", untouched), CredentialStatus::itemNotFound);
    EXPECT_EQ(untouched, "as it was");
}

TEST_F(SecretServiceStoreTest, AnEmptyStringIsAnItemOfZeroBytes) {
    EXPECT_TRUE(keychain_.save("", Key::accessToken));
    EXPECT_EQ(keychain_.retrieve(Key::accessToken), "");
    EXPECT_EQ(keyring_.count(service, tokenAccount), 1U);
    EXPECT_EQ(keyring_.lookup(service, tokenAccount), "");
}

TEST_F(SecretServiceStoreTest, AnyBytesAndAnyUsualLengthComeBackAsTheyWere) {
    std::string everyByte;
    for (int value = 0; value < 256; ++value) {
        everyByte += static_cast<char>(value);
    }
    const std::string values[] = {"pl\xc3\xa4in \xe2\x80\x94 \xf0\x9f\x8e\xa7",
                                  "\0"s,
                                  "a\0b"s,
                                  everyByte,
                                  std::string(15, 'x'),
                                  std::string(16, 'y'),
                                  std::string(100000, 'z')};
    for (const std::string& value : values) {
        store_.remove(service, "bytes");
        EXPECT_EQ(store_.add(service, "bytes", value), CredentialStatus::success);
        EXPECT_EQ(retrieve("bytes"), value);
    }
}

TEST_F(SecretServiceStoreTest, ItemsAreNamedForTheUserAndFoundByServiceAndAccountAlone) {
    keychain_.save("the secret", Key::accessToken);
    const std::string description = keyring_.describe(service);
    EXPECT_THAT(description, HasSubstr("label = Quorvane Tandrel (quorvane-access-token)"));
    EXPECT_THAT(description, HasSubstr("attribute.service = TandrelStatusBar"));
    EXPECT_THAT(description, HasSubstr("attribute.account = quorvane-access-token"));
    EXPECT_THAT(description, HasSubstr("schema = com.quorvane.Tandrel"));
}

TEST_F(SecretServiceStoreTest, AnItemOfAnotherToolWithTheSameAttributesIsReadAndReplaced) {
    keyring_.store(service, tokenAccount, "foreign");
    EXPECT_EQ(keychain_.retrieve(Key::accessToken), "foreign");
    EXPECT_TRUE(keychain_.save("ours", Key::accessToken));
    EXPECT_EQ(keyring_.count(service, tokenAccount), 1U);
    EXPECT_EQ(keyring_.lookup(service, tokenAccount), "ours");
}

TEST_F(SecretServiceStoreTest, ItemsOutliveTheStoreAndTheKeyringsDaemon) {
    {
        SecretServiceStore earlier;
        EXPECT_EQ(earlier.add(service, "account", "kept"), CredentialStatus::success);
    }
    EXPECT_EQ(retrieve("account"), "kept");
    keyring_.restart();
    EXPECT_EQ(SecretServiceStore().add(service, "account", "x"), CredentialStatus::duplicateItem);
    EXPECT_EQ(retrieve("account"), "kept");
}

TEST_F(SecretServiceStoreTest, TwoProcessesThatSaveAtOnceLeaveExactlyOneItem) {
    ChildProcess other({TANDREL_BUILD_BIN "/SecretServiceWriter", "theirs", "20"},
                       bus_->clientEnvironment(), folder_ / "writer.log");
    while (other.isRunning()) {
        keychain_.save("ours", Key::accessToken);
    }
    EXPECT_EQ(other.waitForExit(10s), 0);
    keychain_.save("last", Key::accessToken);
    EXPECT_EQ(keyring_.count(service, tokenAccount), 1U);
    EXPECT_EQ(keyring_.lookup(service, tokenAccount), "last");
}

TEST_F(SecretServiceStoreTest, AnItemThatAnotherProcessDeletesMeanwhileIsNoFailure) {
    const auto replaceAgainAndAgain = [](SecretServiceStore& store) {
        for (int time = 0; time < 200; ++time) {
            EXPECT_THAT(store.remove(service, tokenAccount),
                        AnyOf(CredentialStatus::success, CredentialStatus::itemNotFound));
            EXPECT_THAT(store.add(service, tokenAccount, "x"),
                        AnyOf(CredentialStatus::success, CredentialStatus::duplicateItem));
            std::string value;
            EXPECT_THAT(store.copyMatching(service, tokenAccount, value),
                        AnyOf(CredentialStatus::success, CredentialStatus::itemNotFound));
        }
    };
    SecretServiceStore theirs;
    std::thread other([&] { replaceAgainAndAgain(theirs); });
    replaceAgainAndAgain(store_);
    other.join();
    EXPECT_EQ(keyring_.count(service, tokenAccount), 1U);
}

TEST_F(SecretServiceStoreTest, ReadsWhatAnotherProcessSaved) {
    ChildProcess other({TANDREL_BUILD_BIN "/SecretServiceWriter", "theirs", "1"},
                       bus_->clientEnvironment(), folder_ / "writer.log");
    EXPECT_EQ(other.waitForExit(10s), 0);
    EXPECT_EQ(keychain_.retrieve(Key::accessToken), "theirs");
}

TEST_F(SecretServiceStoreTest, GoesOnAfterTheDaemonWasKilledAndStartedAgain) {
    EXPECT_TRUE(keychain_.save("before", Key::accessToken));
    keyring_.restart();
    EXPECT_EQ(keychain_.retrieve(Key::accessToken), "before");
    keyring_.restart();
    EXPECT_TRUE(keychain_.save("after", Key::accessToken));
    keyring_.restart();
    EXPECT_TRUE(keychain_.remove(Key::accessToken));
    EXPECT_EQ(keyring_.count(service, tokenAccount), 0U);
}

TEST_F(SecretServiceStoreTest, IsUnavailableWhileTheDaemonIsGoneAndLosesNothing) {
    EXPECT_TRUE(keychain_.save("kept", Key::accessToken));
    keyring_.kill();
    EXPECT_FALSE(keychain_.save("new", Key::accessToken));
    EXPECT_EQ(keychain_.retrieve(Key::accessToken), std::nullopt);
    EXPECT_FALSE(keychain_.remove(Key::accessToken));
    keyring_.restart();
    EXPECT_EQ(keychain_.retrieve(Key::accessToken), "kept");
}

TEST_F(SecretServiceStoreTest, TellsALockedKeyringFromNone) {
    std::string value;
    EXPECT_TRUE(keychain_.save("kept", Key::accessToken));
    keyring_.kill();
    EXPECT_EQ(store_.copyMatching(service, tokenAccount, value), CredentialStatus::noStore);
    keyring_.restart(PrivateKeyring::Start::locked);
    const FakeSystemPrompter prompter(bus_->address(), FakeSystemPrompter::User::dismisses);
    EXPECT_EQ(store_.copyMatching(service, tokenAccount, value), CredentialStatus::unavailable);
}

TEST_F(SecretServiceStoreTest, AServiceThatCannotEncryptIsNone) {
    keyring_.kill();
    const PlainSecretService plain(bus_->address());
    EXPECT_EQ(store_.add(service, "account", "the very secret"), CredentialStatus::noStore);
    EXPECT_TRUE(plain.hasOpenedSession()) << "it was asked";
    EXPECT_FALSE(plain.hasSeen("the very secret"));
}

TEST_F(SecretServiceStoreTest, ADismissedPromptMeansUnavailableAndDeletesNothing) {
    EXPECT_TRUE(keychain_.save("kept", Key::accessToken));
    keyring_.restart(PrivateKeyring::Start::locked);
    const FakeSystemPrompter prompter(bus_->address(), FakeSystemPrompter::User::dismisses);
    std::string untouched = "as it was";
    EXPECT_EQ(store_.copyMatching(service, tokenAccount, untouched), CredentialStatus::unavailable);
    EXPECT_EQ(untouched, "as it was");
    EXPECT_EQ(prompter.promptCount(), 1U);
    keyring_.restart();
    EXPECT_EQ(keychain_.retrieve(Key::accessToken), "kept");
}

TEST_F(SecretServiceStoreTest, ADismissedPromptIsNotRepeatedByTheOperationsThatFollow) {
    EXPECT_TRUE(keychain_.save("kept", Key::accessToken));
    keyring_.restart(PrivateKeyring::Start::locked);
    const FakeSystemPrompter prompter(bus_->address(), FakeSystemPrompter::User::dismisses);
    for (const Key key : KeychainService::allKeys) {
        EXPECT_FALSE(keychain_.save("new", key));
    }
    EXPECT_EQ(keychain_.retrieve(Key::accessToken), std::nullopt);
    EXPECT_FALSE(keychain_.remove(Key::accessToken));
    EXPECT_EQ(prompter.promptCount(), 1U);
}

TEST_F(SecretServiceStoreTest, ALockedKeyringWithoutOurItemsIsAskedForOnceWhenSaving) {
    keyring_.restart(PrivateKeyring::Start::locked);
    const FakeSystemPrompter prompter(bus_->address(), FakeSystemPrompter::User::dismisses);
    EXPECT_EQ(keychain_.retrieve(Key::accessToken), std::nullopt);
    EXPECT_EQ(prompter.promptCount(), 0U);
    EXPECT_FALSE(keychain_.save("new", Key::accessToken));
    EXPECT_FALSE(keychain_.save("new", Key::userId));
    EXPECT_EQ(prompter.promptCount(), 1U);
}

TEST_F(SecretServiceStoreTest, WithoutAnyKeyringTheUserIsAskedForOneOnceWhenSaving) {
    keyring_.kill();
    fs::remove_all(folder_ / "data");
    keyring_.restart(PrivateKeyring::Start::locked);
    const FakeSystemPrompter prompter(bus_->address(), FakeSystemPrompter::User::dismisses);
    EXPECT_FALSE(keychain_.save("new", Key::accessToken));
    EXPECT_FALSE(keychain_.save("new", Key::userId));
    EXPECT_EQ(prompter.promptCount(), 1U);
}

TEST_F(SecretServiceStoreTest, ADismissalDoesNotMatterOnceTheKeyringIsUnlocked) {
    EXPECT_TRUE(keychain_.save("kept", Key::accessToken));
    keyring_.restart(PrivateKeyring::Start::locked);
    {
        const FakeSystemPrompter prompter(bus_->address(), FakeSystemPrompter::User::dismisses);
        EXPECT_EQ(keychain_.retrieve(Key::accessToken), std::nullopt);
    }
    keyring_.restart();
    EXPECT_EQ(keychain_.retrieve(Key::accessToken), "kept");
    EXPECT_TRUE(keychain_.save("new", Key::accessToken));
}

TEST_F(SecretServiceStoreTest, APromptThatNobodyAnswersHoldsUpNeitherTheMainThreadNorTheEnd) {
    EXPECT_TRUE(keychain_.save("kept", Key::accessToken));
    keyring_.restart(PrivateKeyring::Start::locked);
    auto prompter = std::make_unique<FakeSystemPrompter>(bus_->address(),
                                                         FakeSystemPrompter::User::neverAnswers);

    class Watched : public SecretServiceStore {
    public:
        explicit Watched(std::shared_ptr<int> token)
            : token_(std::move(token)) {}

    private:
        std::shared_ptr<int> token_;
    };
    auto token = std::make_shared<int>(0);
    const std::weak_ptr<int> alive = token;
    ManualMainQueue queue;
    bool loaded = false;
    auto cache =
        std::make_unique<CachedCredentialStore>(std::make_unique<Watched>(std::move(token)), queue);
    const Handle handle =
        cache->load({{service, tokenAccount}}, [&](CredentialAccess /*access*/) { loaded = true; });
    ASSERT_TRUE(prompter->awaitPrompts(1));

    const auto start = steady_clock::now();
    KeychainService keychain(*cache);
    EXPECT_EQ(keychain.retrieve(Key::accessToken), std::nullopt);
    EXPECT_TRUE(keychain.save("in memory", Key::userId));
    EXPECT_EQ(keychain.retrieve(Key::userId), "in memory");
    EXPECT_FALSE(cache->flush(20ms));
    cache.reset();
    EXPECT_LT(steady_clock::now() - start, 2s);
    EXPECT_FALSE(loaded);
    EXPECT_FALSE(alive.expired()) << "the prompt still stands";

    prompter.reset();
    const auto limit = steady_clock::now() + 20s;
    while (!alive.expired() && steady_clock::now() < limit) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(alive.expired());
}

TEST_F(SecretServiceStoreTest, WithTheCacheASecretIsThereAtOnceAndInTheKeyringAfterAFlush) {
    ManualMainQueue queue;
    CachedCredentialStore cache(std::make_unique<SecretServiceStore>(), queue);
    KeychainService keychain(cache);
    EXPECT_TRUE(keychain.save("token", Key::accessToken));
    EXPECT_EQ(keychain.retrieve(Key::accessToken), "token");
    ASSERT_TRUE(cache.flush(20s));
    EXPECT_EQ(keyring_.lookup(service, tokenAccount), "token");

    CachedCredentialStore nextRun(std::make_unique<SecretServiceStore>(), queue);
    bool loaded = false;
    const Handle handle = nextRun.load({{service, tokenAccount}},
                                       [&](CredentialAccess /*access*/) { loaded = true; });
    ASSERT_TRUE(queue.drainUntil([&] { return loaded; }));
    EXPECT_EQ(KeychainService(nextRun).retrieve(Key::accessToken), "token");
}

TEST_F(SecretServiceStoreTest, WritesNoSecretToItsOutputs) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    keychain_.save("the very secret", Key::accessToken);
    EXPECT_TRUE(keychain_.retrieve(Key::accessToken));
    keyring_.kill();
    keychain_.save("the very secret", Key::accessToken);
    EXPECT_THAT(testing::internal::GetCapturedStdout(), Not(HasSubstr("secret")));
    EXPECT_THAT(testing::internal::GetCapturedStderr(), Not(HasSubstr("secret")));
}

} // namespace
} // namespace tandrel
