#pragma once

#include "DevBackend/AccountStore.h"
#include "DevBackend/BackendApi.h"
#include "DevBackend/Faults.h"
#include "DevBackend/HttpMessage.h"
#include "DevBackend/SessionStore.h"
#include "DevBackend/StreamEndpoint.h"

#include <QJsonObject>

#include <optional>

namespace devbackend {

/// The interface under `/dev/` for scripts, tests and the page: sessions, faults, what was
/// received.
class ControlApi {
public:
    ControlApi(AccountStore& accounts, SessionStore& sessions, StreamEndpoint& streams,
               FaultBoard& faults, const BackendApi& backend);

    /// Nothing when the path is none of this interface's.
    [[nodiscard]] std::optional<HttpResponse> answer(const HttpRequest& request);

private:
    [[nodiscard]] HttpResponse status();
    [[nodiscard]] HttpResponse answerSessions(const HttpRequest& request);
    [[nodiscard]] HttpResponse answerSession(const HttpRequest& request, Session& session,
                                             const QByteArray& what);
    [[nodiscard]] HttpResponse answerFaults(const HttpRequest& request, const QByteArray& endpoint);
    [[nodiscard]] HttpResponse setFault(const HttpRequest& request, Endpoint endpoint);
    [[nodiscard]] HttpResponse startSession(const QJsonObject& body);
    [[nodiscard]] HttpResponse endSession(const QJsonObject& body, Session& session);
    [[nodiscard]] HttpResponse actOnStream(const QJsonObject& body, const Session& session);
    [[nodiscard]] HttpResponse audio(const Session& session);
    [[nodiscard]] HttpResponse messages(const Session& session);
    [[nodiscard]] QJsonObject describe(const Session& session);
    [[nodiscard]] QJsonArray describeSessions();

    AccountStore& accounts_;
    SessionStore& sessions_;
    StreamEndpoint& streams_;
    FaultBoard& faults_;
    const BackendApi& backend_;
};

} // namespace devbackend
