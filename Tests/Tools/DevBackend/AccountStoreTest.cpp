#include "DevBackend/AccountStore.h"

#include <QFile>

#include <gmock/gmock.h>

#include <cstdlib>

namespace devbackend {
namespace {

TEST(AccountStore, KnowsWhoMaySignIn) {
    AccountStore store;
    ASSERT_TRUE(store.add(QStringLiteral("ann@x.example:secret:Ann Example")));
    ASSERT_TRUE(store.add(QStringLiteral("bob@x.example:other")));
    const Account* ann =
        store.authenticate(QStringLiteral("Ann@X.example"), QStringLiteral("secret"));
    ASSERT_NE(ann, nullptr);
    EXPECT_EQ(ann->fullName, QStringLiteral("Ann Example"));
    EXPECT_EQ(store.authenticate(QStringLiteral("ann@x.example"), QStringLiteral("other")),
              nullptr);
    EXPECT_EQ(store.authenticate(QStringLiteral("ann@x.example"), {}), nullptr);
    EXPECT_EQ(store.authenticate(QStringLiteral("eve@x.example"), QStringLiteral("secret")),
              nullptr);
}

TEST(AccountStore, RefusesHalfAnAccountAndASecondOneOfTheSameName) {
    AccountStore store;
    EXPECT_FALSE(store.add(QStringLiteral("ann@x.example")));
    EXPECT_FALSE(store.add(QStringLiteral("ann@x.example:")));
    EXPECT_FALSE(store.add(QStringLiteral(":secret")));
    EXPECT_TRUE(store.add(QStringLiteral("ann@x.example:secret")));
    EXPECT_FALSE(store.add(QStringLiteral("ANN@x.example:again")));
}

TEST(AccountStore, GivesTokensThatAreGoodUntilTheyAreRevoked) {
    AccountStore store;
    store.add(QStringLiteral("ann@x.example:secret"));
    const Account& ann = store.accounts().front();
    const auto first = store.signIn(ann);
    const auto second = store.signIn(ann);
    EXPECT_NE(first.access, second.access);
    EXPECT_EQ(store.findByAccessToken(first.access), &ann);
    EXPECT_EQ(store.findByAccessToken(second.access), &ann);
    EXPECT_EQ(store.findByAccessToken(first.refresh), nullptr);
    EXPECT_EQ(store.findByAccessToken({}), nullptr);
    store.revokeTokens();
    EXPECT_EQ(store.findByAccessToken(first.access), nullptr);
}

TEST(AccountStore, ReadsAFileOfAccounts) {
    const QString path = QString::fromLocal8Bit(std::getenv("HOME")) + QStringLiteral("/accounts");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("# people\n\nann@x.example:secret\nbob@x.example:other:Bob\n");
    file.close();
    AccountStore store;
    EXPECT_TRUE(store.addFromFile(path));
    EXPECT_EQ(store.accounts().size(), 2U);
    EXPECT_FALSE(store.addFromFile(path)) << "they are there already";
    EXPECT_FALSE(store.addFromFile(path + QStringLiteral("-missing")));
}

} // namespace
} // namespace devbackend
