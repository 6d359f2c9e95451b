#include "DevBackend/BackendApi.h"

#include <QJsonDocument>

namespace devbackend {

namespace {

struct Route {
    const char* method;
    const char* path;
    Endpoint endpoint;
};

constexpr std::array routes{
    Route{"POST", "/api/auth/login", Endpoint::Login},
    Route{"GET", "/api/auth/me", Endpoint::Me},
    Route{"GET", "/api/tandrel/sessions/pending", Endpoint::Pending},
    Route{"GET", "/tandrel-stream", Endpoint::Stream},
};

QJsonObject toJson(const Account& account) {
    QJsonObject json{{QStringLiteral("id"), account.id},
                     {QStringLiteral("email"), account.email},
                     {QStringLiteral("account_id"), account.accountId}};
    if (!account.fullName.isEmpty()) {
        json.insert(QStringLiteral("full_name"), account.fullName);
    }
    return json;
}

HttpResponse unauthorized() {
    HttpResponse response = HttpResponse::error(401, QStringLiteral("unauthorized"),
                                                QStringLiteral("A valid access token is needed."));
    response.headers.push_back({"WWW-Authenticate", "Bearer"});
    return response;
}

} // namespace

BackendApi::BackendApi(AccountStore& accounts, SessionStore& sessions, StreamEndpoint& streams,
                       FaultBoard& faults)
    : accounts_(accounts)
    , sessions_(sessions)
    , streams_(streams)
    , faults_(faults) {}

std::optional<HttpAnswer> BackendApi::answer(const HttpRequest& request) {
    const QByteArray path = request.path();
    for (const Route& route : routes) {
        if (path != route.path) {
            continue;
        }
        if (request.method != route.method) {
            HttpAnswer answer;
            answer.response = HttpResponse::error(405, QStringLiteral("method_not_allowed"),
                                                  QStringLiteral("Another method is needed."));
            answer.response.headers.push_back({"Allow", route.method});
            return answer;
        }
        ++requests_[static_cast<std::size_t>(route.endpoint)];
        const std::optional<Fault> fault = faults_.take(route.endpoint);
        const HttpAnswer answer =
            undisturbed(route.endpoint, request, fault ? fault->stream : StreamFault());
        return fault ? withFault(*fault, answer) : answer;
    }
    return std::nullopt;
}

HttpAnswer BackendApi::undisturbed(Endpoint endpoint, const HttpRequest& request,
                                   const StreamFault& fault) {
    HttpAnswer answer;
    switch (endpoint) {
    case Endpoint::Login:
        answer.response = login(request);
        break;
    case Endpoint::Me:
        answer.response = me(request);
        break;
    case Endpoint::Pending:
        answer.response = pending(request);
        break;
    case Endpoint::Stream:
        answer = stream(request, fault);
        break;
    }
    return answer;
}

const Account* BackendApi::bearer(const HttpRequest& request) const {
    const QByteArray authorization = request.header("authorization");
    const QByteArray scheme = "Bearer ";
    return authorization.startsWith(scheme)
               ? accounts_.findByAccessToken(authorization.mid(scheme.size()))
               : nullptr;
}

HttpResponse BackendApi::login(const HttpRequest& request) {
    if (!request.header("content-type").startsWith("application/json")) {
        return HttpResponse::error(415, QStringLiteral("unsupported_media_type"),
                                   QStringLiteral("The body must be application/json."));
    }
    const QJsonObject body = QJsonDocument::fromJson(request.body).object();
    const QJsonValue email = body.value(QLatin1String("email"));
    const QJsonValue password = body.value(QLatin1String("password"));
    if (!email.isString() || !password.isString()) {
        return HttpResponse::error(400, QStringLiteral("invalid_request"),
                                   QStringLiteral("email and password must be strings."));
    }
    const Account* account = accounts_.authenticate(email.toString(), password.toString());
    if (account == nullptr) {
        return HttpResponse::error(401, QStringLiteral("invalid_credentials"),
                                   QStringLiteral("The e-mail or the password is wrong."));
    }
    const AccountStore::Tokens tokens = accounts_.signIn(*account);
    return HttpResponse::json(
        {{QStringLiteral("access_token"), QString::fromLatin1(tokens.access)},
         {QStringLiteral("refresh_token"), QString::fromLatin1(tokens.refresh)},
         {QStringLiteral("user"), toJson(*account)}});
}

HttpResponse BackendApi::me(const HttpRequest& request) const {
    const Account* account = bearer(request);
    return account == nullptr ? unauthorized() : HttpResponse::json(toJson(*account));
}

HttpResponse BackendApi::pending(const HttpRequest& request) const {
    const Account* account = bearer(request);
    if (account == nullptr) {
        return unauthorized();
    }
    const Session* session = sessions_.findPending(account->id);
    if (session == nullptr) {
        return HttpResponse::error(404, QStringLiteral("no_pending_session"),
                                   QStringLiteral("No session is pending."));
    }
    return HttpResponse::json({{QStringLiteral("session_id"), session->id},
                               {QStringLiteral("token"), QString::fromLatin1(session->token)},
                               {QStringLiteral("interview_id"), session->interviewId}});
}

HttpAnswer BackendApi::stream(const HttpRequest& request, const StreamFault& fault) {
    HttpAnswer answer;
    if (!request.wantsWebSocket()) {
        answer.response = HttpResponse::error(426, QStringLiteral("upgrade_required"),
                                              QStringLiteral("This is a WebSocket."));
        answer.response.headers.push_back({"Upgrade", "websocket"});
        return answer;
    }
    answer.manner = HttpAnswer::Manner::Upgrade;
    answer.takeOver = [this, token = request.queryValue("token"), fault](QTcpSocket* socket) {
        streams_.accept(socket, token, fault);
    };
    return answer;
}

} // namespace devbackend
