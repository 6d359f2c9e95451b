#include "DevBackend/ControlApi.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

namespace devbackend {

namespace {

HttpResponse notFound() {
    return HttpResponse::error(404, QStringLiteral("not_found"),
                               QStringLiteral("There is nothing here."));
}

HttpResponse methodNotAllowed() {
    return HttpResponse::error(405, QStringLiteral("method_not_allowed"),
                               QStringLiteral("Another method is needed."));
}

HttpResponse invalid(const QString& text) {
    return HttpResponse::error(400, QStringLiteral("invalid_request"), text);
}

/// The body's object: empty for an empty body, nothing for anything but an object.
std::optional<QJsonObject> objectIn(const HttpRequest& request) {
    if (request.body.isEmpty()) {
        return QJsonObject();
    }
    const QJsonDocument document = QJsonDocument::fromJson(request.body);
    return document.isObject() ? std::optional(document.object()) : std::nullopt;
}

QJsonObject describe(const StreamEnd& end) {
    constexpr std::array names{"client", "server", "loss"};
    return {{QStringLiteral("by"), QLatin1String(names[static_cast<std::size_t>(end.by)])},
            {QStringLiteral("code"), end.code}};
}

QJsonObject describe(const StreamStatistics& statistics) {
    const auto number = [](std::uint64_t value) { return static_cast<qint64>(value); };
    return {{QStringLiteral("seconds"), statistics.seconds()},
            {QStringLiteral("messages"), number(statistics.messages())},
            {QStringLiteral("odd_messages"), number(statistics.oddMessages())},
            {QStringLiteral("bytes"), number(statistics.bytes())},
            {QStringLiteral("frames"), number(statistics.frames())},
            {QStringLiteral("min_frames"), number(statistics.minFrames())},
            {QStringLiteral("mean_frames"), statistics.meanFrames()},
            {QStringLiteral("max_frames"), number(statistics.maxFrames())},
            {QStringLiteral("max_gap_ms"), statistics.maxGapMilliseconds()}};
}

QJsonObject describe(const Level& level) {
    return {{QStringLiteral("peak_dbfs"), level.peakDbfs},
            {QStringLiteral("rms_dbfs"), level.rmsDbfs}};
}

} // namespace

ControlApi::ControlApi(AccountStore& accounts, SessionStore& sessions, StreamEndpoint& streams,
                       FaultBoard& faults, const BackendApi& backend)
    : accounts_(accounts)
    , sessions_(sessions)
    , streams_(streams)
    , faults_(faults)
    , backend_(backend) {}

std::optional<HttpResponse> ControlApi::answer(const HttpRequest& request) {
    const QList<QByteArray> parts = request.path().mid(1).split('/');
    if (parts[0] != "dev") {
        return std::nullopt;
    }
    const QByteArray& subject = parts.value(1);
    if (subject == "status" && parts.size() == 2) {
        return request.method == "GET" ? status() : methodNotAllowed();
    }
    if (subject == "sessions" && parts.size() == 2) {
        return answerSessions(request);
    }
    if (subject == "sessions" && parts.size() <= 4) {
        Session* session = sessions_.findById(QString::fromUtf8(parts[2]));
        return session == nullptr ? notFound() : answerSession(request, *session, parts.value(3));
    }
    if (subject == "faults" && parts.size() <= 3) {
        return answerFaults(request, parts.value(2));
    }
    if (subject == "tokens" && parts.size() == 3 && parts[2] == "revoke") {
        if (request.method != "POST") {
            return methodNotAllowed();
        }
        accounts_.revokeTokens();
        return HttpResponse::json({});
    }
    return notFound();
}

HttpResponse ControlApi::status() {
    QJsonObject requests;
    QJsonArray faults;
    for (const Endpoint endpoint : allEndpoints) {
        requests.insert(toString(endpoint), static_cast<qint64>(backend_.requests(endpoint)));
        if (faults_.isSet(endpoint)) {
            faults.append(toString(endpoint));
        }
    }
    return HttpResponse::json({{QStringLiteral("requests"), requests},
                               {QStringLiteral("faults"), faults},
                               {QStringLiteral("sessions"), describeSessions()}});
}

HttpResponse ControlApi::answerSessions(const HttpRequest& request) {
    if (request.method == "GET") {
        return HttpResponse::json({{QStringLiteral("sessions"), describeSessions()}});
    }
    if (request.method != "POST") {
        return methodNotAllowed();
    }
    const std::optional<QJsonObject> body = objectIn(request);
    return body ? startSession(*body) : invalid(QStringLiteral("The body is no JSON object."));
}

HttpResponse ControlApi::answerSession(const HttpRequest& request, Session& session,
                                       const QByteArray& what) {
    if (request.method == "GET") {
        if (what.isEmpty()) {
            return HttpResponse::json(describe(session));
        }
        if (what == "audio.wav") {
            return audio(session);
        }
        return what == "messages.csv" ? messages(session) : notFound();
    }
    const std::optional<QJsonObject> body = objectIn(request);
    if (request.method != "POST") {
        return methodNotAllowed();
    }
    if (!body) {
        return invalid(QStringLiteral("The body is no JSON object."));
    }
    if (what == "end") {
        return endSession(*body, session);
    }
    return what == "stream" ? actOnStream(*body, session) : notFound();
}

HttpResponse ControlApi::startSession(const QJsonObject& body) {
    const QString email = body.value(QLatin1String("email")).toString();
    const Account* account =
        email.isEmpty() ? &accounts_.accounts().front() : accounts_.findByEmail(email);
    if (account == nullptr) {
        return invalid(QStringLiteral("No account has this e-mail."));
    }
    if (Session* earlier = sessions_.findUnfinished(account->id)) {
        streams_.complete(*earlier);
    }
    const Session& session =
        sessions_.start(account->id, body.value(QLatin1String("interview_id")).toString());
    return HttpResponse::json(describe(session), 201);
}

HttpResponse ControlApi::endSession(const QJsonObject& body, Session& session) {
    const int code = body.value(QLatin1String("code")).toInt(StreamEndpoint::notPending);
    streams_.complete(session, code);
    return HttpResponse::json(describe(session));
}

HttpResponse ControlApi::actOnStream(const QJsonObject& body, const Session& session) {
    ReceivedStream* stream = streams_.find(session.id);
    if (stream == nullptr || !stream->connection) {
        return HttpResponse::error(409, QStringLiteral("no_stream"),
                                   QStringLiteral("The session has no open stream."));
    }
    StreamConnection& connection = *stream->connection;
    const QString action = body.value(QLatin1String("action")).toString();
    if (action == QLatin1String("close")) {
        connection.close(body.value(QLatin1String("code")).toInt(1000));
    } else if (action == QLatin1String("reset")) {
        connection.reset();
    } else if (action == QLatin1String("pause")) {
        connection.pause();
    } else if (action == QLatin1String("resume")) {
        connection.resume();
    } else if (action == QLatin1String("send_text")) {
        connection.sendText(body.value(QLatin1String("text")).toString());
    } else if (action == QLatin1String("send_binary")) {
        connection.sendBinary(
            QByteArray::fromBase64(body.value(QLatin1String("base64")).toString().toLatin1()));
    } else {
        return invalid(QStringLiteral("Unknown action."));
    }
    return HttpResponse::json({});
}

HttpResponse ControlApi::answerFaults(const HttpRequest& request, const QByteArray& endpointName) {
    if (endpointName.isEmpty()) {
        if (request.method != "DELETE") {
            return methodNotAllowed();
        }
        faults_.clearAll();
        return HttpResponse::json({});
    }
    const std::optional<Endpoint> endpoint = endpointNamed(QString::fromUtf8(endpointName));
    if (!endpoint) {
        return notFound();
    }
    if (request.method == "DELETE") {
        faults_.clear(*endpoint);
        return HttpResponse::json({});
    }
    return request.method == "PUT" ? setFault(request, *endpoint) : methodNotAllowed();
}

HttpResponse ControlApi::setFault(const HttpRequest& request, Endpoint endpoint) {
    const std::optional<QJsonObject> body = objectIn(request);
    if (!body) {
        return invalid(QStringLiteral("The body is no JSON object."));
    }
    const FaultOrError read = faultFromJson(endpoint, *body);
    if (!read.fault) {
        return invalid(read.error);
    }
    faults_.set(endpoint, *read.fault);
    return HttpResponse::json({});
}

HttpResponse ControlApi::audio(const Session& session) {
    const ReceivedStream* stream = streams_.find(session.id);
    if (stream == nullptr) {
        return notFound();
    }
    stream->recording->sync();
    QFile file(stream->recording->wavPath());
    if (!file.open(QIODevice::ReadOnly)) {
        return notFound();
    }
    HttpResponse response;
    response.contentType = "audio/wav";
    response.body = file.readAll();
    return response;
}

HttpResponse ControlApi::messages(const Session& session) {
    const ReceivedStream* stream = streams_.find(session.id);
    if (stream == nullptr) {
        return notFound();
    }
    HttpResponse response;
    response.contentType = "text/csv";
    response.body = QByteArray::fromStdString(stream->recording->log().toCsv());
    return response;
}

QJsonObject ControlApi::describe(const Session& session) {
    const auto& accounts = accounts_.accounts();
    const auto account =
        std::find_if(accounts.begin(), accounts.end(),
                     [&session](const Account& each) { return each.id == session.userId; });
    QJsonObject json{{QStringLiteral("session_id"), session.id},
                     {QStringLiteral("interview_id"), session.interviewId},
                     {QStringLiteral("email"), account->email},
                     {QStringLiteral("token"), QString::fromLatin1(session.token)},
                     {QStringLiteral("phase"), toString(session.phase)},
                     {QStringLiteral("started"), session.started.toString(Qt::ISODateWithMs)}};
    const ReceivedStream* stream = streams_.find(session.id);
    if (stream == nullptr) {
        return json;
    }
    const SessionRecording& recording = *stream->recording;
    json.insert(QStringLiteral("connections"), static_cast<qint64>(stream->connections));
    json.insert(QStringLiteral("audio"), devbackend::describe(recording.statistics()));
    json.insert(QStringLiteral("level"),
                devbackend::describe(recording.statistics().recentLevel(monotonicNanoseconds())));
    json.insert(QStringLiteral("wav"), QString::fromStdString(recording.wavPath().string()));
    json.insert(QStringLiteral("message_log"),
                QString::fromStdString(recording.logPath().string()));
    if (stream->lastEnd) {
        json.insert(QStringLiteral("last_end"), devbackend::describe(*stream->lastEnd));
    }
    return json;
}

QJsonArray ControlApi::describeSessions() {
    QJsonArray array;
    for (const auto& session : sessions_.sessions()) {
        array.append(describe(*session));
    }
    return array;
}

} // namespace devbackend
