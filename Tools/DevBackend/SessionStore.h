#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <memory>
#include <vector>

namespace devbackend {

/// Pending → Streaming → Completed; a stream that was lost makes the session pending again, so that
/// the client may reconnect.
enum class SessionPhase { Pending, Streaming, Completed };

[[nodiscard]] QString toString(SessionPhase phase);

struct Session {
    QString id;
    QString interviewId;
    /// Goes into the stream's URL.
    QByteArray token;
    /// `Account::id` of the person whose session it is.
    QString userId;
    QDateTime started;
    SessionPhase phase = SessionPhase::Pending;
};

/// The live sessions of all accounts, at most one unfinished per account.
class SessionStore {
public:
    /// Starts a pending session and completes the account's earlier one. An empty interview id gets
    /// a made-up one. The reference stays good as long as the store.
    Session& start(const QString& userId, const QString& interviewId);

    /// The account's session that waits for a stream.
    [[nodiscard]] const Session* findPending(const QString& userId) const;
    [[nodiscard]] Session* findById(const QString& id);
    [[nodiscard]] Session* findByToken(const QByteArray& token);
    /// The account's session that is pending or streaming.
    [[nodiscard]] Session* findUnfinished(const QString& userId);
    /// In the order of their start.
    [[nodiscard]] const std::vector<std::unique_ptr<Session>>& sessions() const {
        return sessions_;
    }

private:
    std::vector<std::unique_ptr<Session>> sessions_;
};

} // namespace devbackend
