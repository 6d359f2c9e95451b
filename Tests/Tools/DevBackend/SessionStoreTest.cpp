#include "DevBackend/SessionStore.h"

#include <gmock/gmock.h>

namespace devbackend {
namespace {

const QString ann = QStringLiteral("user-1");
const QString bob = QStringLiteral("user-2");

TEST(SessionStore, ANewSessionIsPendingForItsOwnerOnly) {
    SessionStore store;
    EXPECT_EQ(store.findPending(ann), nullptr);
    const Session& session = store.start(ann, QStringLiteral("interview-7"));
    EXPECT_EQ(store.findPending(ann), &session);
    EXPECT_EQ(store.findPending(bob), nullptr);
    EXPECT_EQ(session.interviewId, QStringLiteral("interview-7"));
    EXPECT_EQ(session.phase, SessionPhase::Pending);
}

TEST(SessionStore, MakesUpAnInterviewAndDistinctTokens) {
    SessionStore store;
    const Session& first = store.start(ann, {});
    const Session& second = store.start(bob, {});
    EXPECT_FALSE(first.interviewId.isEmpty());
    EXPECT_NE(first.id, second.id);
    EXPECT_NE(first.token, second.token);
    EXPECT_NE(first.interviewId, second.interviewId);
}

TEST(SessionStore, IsPendingOnlyWhileItWaitsForAStream) {
    SessionStore store;
    Session& session = store.start(ann, {});
    session.phase = SessionPhase::Streaming;
    EXPECT_EQ(store.findPending(ann), nullptr);
    EXPECT_EQ(store.findUnfinished(ann), &session);
    session.phase = SessionPhase::Completed;
    EXPECT_EQ(store.findPending(ann), nullptr);
    EXPECT_EQ(store.findUnfinished(ann), nullptr);
}

TEST(SessionStore, ANewSessionCompletesTheEarlierOne) {
    SessionStore store;
    const Session& first = store.start(ann, {});
    const Session& other = store.start(bob, {});
    const Session& second = store.start(ann, {});
    EXPECT_EQ(first.phase, SessionPhase::Completed);
    EXPECT_EQ(other.phase, SessionPhase::Pending);
    EXPECT_EQ(store.findPending(ann), &second);
}

TEST(SessionStore, FindsByIdAndByToken) {
    SessionStore store;
    store.start(bob, {});
    const Session& session = store.start(ann, {});
    EXPECT_EQ(store.findById(session.id), &session);
    EXPECT_EQ(store.findByToken(session.token), &session);
    EXPECT_EQ(store.findById(QStringLiteral("other")), nullptr);
    EXPECT_EQ(store.findByToken("other"), nullptr);
    EXPECT_EQ(store.findByToken(""), nullptr);
}

} // namespace
} // namespace devbackend
