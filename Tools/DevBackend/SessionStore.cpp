#include "DevBackend/SessionStore.h"

#include "DevBackend/AccountStore.h"

#include <algorithm>

namespace devbackend {

namespace {

template <typename Sessions, typename Condition>
Session* findSession(const Sessions& sessions, Condition condition) {
    const auto found = std::find_if(sessions.begin(), sessions.end(),
                                    [&](const auto& session) { return condition(*session); });
    return found == sessions.end() ? nullptr : found->get();
}

} // namespace

QString toString(SessionPhase phase) {
    switch (phase) {
    case SessionPhase::Pending:
        return QStringLiteral("pending");
    case SessionPhase::Streaming:
        return QStringLiteral("streaming");
    case SessionPhase::Completed:
        break;
    }
    return QStringLiteral("completed");
}

Session& SessionStore::start(const QString& userId, const QString& interviewId) {
    if (Session* earlier = findUnfinished(userId)) {
        earlier->phase = SessionPhase::Completed;
    }
    auto session = std::make_unique<Session>();
    session->id = QStringLiteral("session-") + QString::fromLatin1(randomHex(6));
    session->interviewId = interviewId.isEmpty()
                               ? QStringLiteral("interview-") + QString::fromLatin1(randomHex(4))
                               : interviewId;
    session->token = randomHex(24);
    session->userId = userId;
    session->started = QDateTime::currentDateTimeUtc();
    sessions_.push_back(std::move(session));
    return *sessions_.back();
}

const Session* SessionStore::findPending(const QString& userId) const {
    return findSession(sessions_, [&userId](const Session& session) {
        return session.userId == userId && session.phase == SessionPhase::Pending;
    });
}

Session* SessionStore::findById(const QString& id) {
    return findSession(sessions_, [&id](const Session& session) { return session.id == id; });
}

Session* SessionStore::findByToken(const QByteArray& token) {
    return findSession(sessions_,
                       [&token](const Session& session) { return session.token == token; });
}

Session* SessionStore::findUnfinished(const QString& userId) {
    return findSession(sessions_, [&userId](const Session& session) {
        return session.userId == userId && session.phase != SessionPhase::Completed;
    });
}

} // namespace devbackend
