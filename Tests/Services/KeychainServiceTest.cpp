#include "Services/KeychainService.h"

#include "Support/FakeCredentialStore.h"

#include <gmock/gmock.h>

#include <string>

namespace tandrel {
namespace {

using Key = KeychainService::Key;
using test::FakeCredentialStore;
using testing::ElementsAre;
using testing::IsEmpty;

class KeychainServiceTest : public testing::Test {
protected:
    FakeCredentialStore store_;
    KeychainService keychain_{store_};
};

TEST_F(KeychainServiceTest, NamesItsItemsByServiceAndAccount) {
    EXPECT_EQ(KeychainService::service, "TandrelStatusBar");
    EXPECT_EQ(KeychainService::account(Key::accessToken), "quorvane-access-token");
    EXPECT_EQ(KeychainService::account(Key::refreshToken), "quorvane-refresh-token");
    EXPECT_EQ(KeychainService::account(Key::userId), "quorvane-user-id");
    EXPECT_THAT(KeychainService::allKeys,
                ElementsAre(Key::accessToken, Key::refreshToken, Key::userId));
}

TEST_F(KeychainServiceTest, SavingAddsAnItemThatIsThenRetrieved) {
    EXPECT_TRUE(keychain_.save("token", Key::accessToken));
    EXPECT_EQ(store_.item("TandrelStatusBar", "quorvane-access-token"), "token");
    EXPECT_EQ(keychain_.retrieve(Key::accessToken), "token");
    EXPECT_EQ(keychain_.retrieve(Key::refreshToken), std::nullopt);
}

TEST_F(KeychainServiceTest, SavingTheSameKeyTwiceLeavesExactlyOneItemWithTheSecondValue) {
    EXPECT_TRUE(keychain_.save("first", Key::userId));
    EXPECT_TRUE(keychain_.save("second", Key::userId));
    EXPECT_EQ(store_.itemCount(), 1U);
    EXPECT_EQ(keychain_.retrieve(Key::userId), "second");
}

TEST_F(KeychainServiceTest, SavingAlwaysDeletesThenAdds) {
    EXPECT_TRUE(keychain_.save("value", Key::userId));
    EXPECT_THAT(store_.operations(),
                ElementsAre("remove quorvane-user-id", "add quorvane-user-id"));
}

TEST_F(KeychainServiceTest, AFailedDeleteDoesNotKeepSaveFromAdding) {
    class OnlyAdds : public FakeCredentialStore {
    public:
        CredentialStatus remove(std::string_view /*service*/,
                                std::string_view /*account*/) override {
            return CredentialStatus::unavailable;
        }
    };
    OnlyAdds store;
    KeychainService keychain(store);
    EXPECT_TRUE(keychain.save("value", Key::userId));
    EXPECT_FALSE(keychain.save("again", Key::userId)) << "the first item was never deleted";
    EXPECT_EQ(keychain.retrieve(Key::userId), "value");
}

TEST_F(KeychainServiceTest, SavingFailsWhenTheAddFails) {
    store_.failAfter(1);
    EXPECT_FALSE(keychain_.save("value", Key::userId));
    EXPECT_EQ(store_.itemCount(), 0U);
}

TEST_F(KeychainServiceTest, SavingWhatIsNotUtf8TouchesNothing) {
    EXPECT_TRUE(keychain_.save("kept", Key::userId));
    store_.forgetOperations();
    EXPECT_FALSE(keychain_.save("bad \xff", Key::userId));
    EXPECT_THAT(store_.operations(), IsEmpty());
    EXPECT_EQ(keychain_.retrieve(Key::userId), "kept");
}

TEST_F(KeychainServiceTest, DeletingAKeyThatWasNeverSavedSucceeds) {
    EXPECT_TRUE(keychain_.remove(Key::refreshToken));
}

TEST_F(KeychainServiceTest, DeletingRemovesThatKeyOnly) {
    for (const Key key : KeychainService::allKeys) {
        keychain_.save("value", key);
    }
    EXPECT_TRUE(keychain_.remove(Key::refreshToken));
    EXPECT_EQ(keychain_.retrieve(Key::refreshToken), std::nullopt);
    EXPECT_EQ(keychain_.retrieve(Key::accessToken), "value");
    EXPECT_EQ(keychain_.retrieve(Key::userId), "value");
}

TEST_F(KeychainServiceTest, RetrievingAMissingKeyIsAbsentAndNotAnEmptyString) {
    EXPECT_EQ(keychain_.retrieve(Key::accessToken), std::nullopt);
}

TEST_F(KeychainServiceTest, AnEmptyStringIsAnItemOfZeroBytes) {
    EXPECT_TRUE(keychain_.save("", Key::accessToken));
    EXPECT_EQ(store_.item("TandrelStatusBar", "quorvane-access-token"), "");
    EXPECT_EQ(keychain_.retrieve(Key::accessToken), "");
}

TEST_F(KeychainServiceTest, AStoredValueThatIsNotUtf8IsAbsent) {
    store_.put("TandrelStatusBar", "quorvane-access-token", "\xc3(");
    EXPECT_EQ(keychain_.retrieve(Key::accessToken), std::nullopt);
}

TEST_F(KeychainServiceTest, AnUnavailableStoreFailsEveryOperationQuietly) {
    keychain_.save("value", Key::accessToken);
    store_.setAvailable(false);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_FALSE(keychain_.save("new", Key::accessToken));
    EXPECT_EQ(keychain_.retrieve(Key::accessToken), std::nullopt);
    EXPECT_FALSE(keychain_.remove(Key::accessToken));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    store_.setAvailable(true);
    EXPECT_EQ(keychain_.retrieve(Key::accessToken), "value");
}

} // namespace
} // namespace tandrel
