#include "DevBackend/Faults.h"

#include <QHash>
#include <QJsonValue>
#include <QStringList>

#include <functional>

namespace devbackend {

namespace {

using Setter = std::function<bool(Fault&, const QJsonValue&)>;

std::optional<int> numberIn(const QJsonValue& value, int least, int most) {
    const double number = value.toDouble(least - 1.0);
    const int whole = static_cast<int>(number);
    const bool isFine = value.isDouble() && number == whole && whole >= least && whole <= most;
    return isFine ? std::optional(whole) : std::nullopt;
}

/// A setter for a whole number within bounds.
template <typename Assign>
Setter number(int least, int most, Assign assign) {
    return [=](Fault& fault, const QJsonValue& value) {
        const std::optional<int> whole = numberIn(value, least, most);
        if (whole) {
            assign(fault, *whole);
        }
        return whole.has_value();
    };
}

/// A setter for a text that is one of a few words.
template <typename Value, typename Assign>
Setter word(QHash<QString, Value> words, Assign assign) {
    return [=](Fault& fault, const QJsonValue& value) {
        const auto found = words.constFind(value.toString());
        if (found != words.constEnd()) {
            assign(fault, *found);
        }
        return found != words.constEnd();
    };
}

bool setBody(Fault& fault, const QJsonValue& value) {
    fault.body = value.toString().toUtf8();
    return value.isString();
}

bool setBodyBase64(Fault& fault, const QJsonValue& value) {
    fault.body = QByteArray::fromBase64(value.toString().toLatin1());
    return value.isString();
}

bool setContentType(Fault& fault, const QJsonValue& value) {
    fault.contentType = value.toString().toUtf8();
    return value.isString();
}

bool setHeaders(Fault& fault, const QJsonValue& value) {
    const QJsonObject headers = value.toObject();
    for (auto header = headers.begin(); header != headers.end(); ++header) {
        fault.headers.push_back({header.key().toUtf8(), header.value().toString().toUtf8()});
    }
    return value.isObject();
}

QHash<QString, Setter> requestSetters() {
    using Manner = HttpAnswer::Manner;
    constexpr int maxBody = 64 * 1024 * 1024;
    return {
        {QStringLiteral("status"),
         number(100, 599, [](Fault& fault, int status) { fault.status = status; })},
        {QStringLiteral("body"), setBody},
        {QStringLiteral("body_base64"), setBodyBase64},
        {QStringLiteral("body_bytes"),
         number(0, maxBody, [](Fault& fault, int size) { fault.body = QByteArray(size, 'x'); })},
        {QStringLiteral("content_type"), setContentType},
        {QStringLiteral("headers"), setHeaders},
        {QStringLiteral("delay_ms"),
         number(0, 600'000,
                [](Fault& fault, int delay) { fault.delay = std::chrono::milliseconds(delay); })},
        {QStringLiteral("answer"),
         word<Manner>({{QStringLiteral("silence"), Manner::Silence},
                       {QStringLiteral("reset"), Manner::Reset}},
                      [](Fault& fault, Manner manner) { fault.manner = manner; })},
        {QStringLiteral("times"),
         number(1, 1'000'000, [](Fault& fault, int times) { fault.times = times; })},
    };
}

QHash<QString, Setter> streamSetters() {
    using Action = StreamFault::Action;
    return {
        {QStringLiteral("then"),
         word<Action>({{QStringLiteral("close"), Action::Close},
                       {QStringLiteral("reset"), Action::Reset},
                       {QStringLiteral("pause"), Action::Pause}},
                      [](Fault& fault, Action action) { fault.stream.action = action; })},
        {QStringLiteral("code"),
         number(1000, 4999, [](Fault& fault, int code) { fault.stream.closeCode = code; })},
        {QStringLiteral("after_messages"), number(0, 1'000'000'000,
                                                  [](Fault& fault, int messages) {
                                                      fault.stream.afterMessages =
                                                          static_cast<std::uint64_t>(messages);
                                                  })},
        {QStringLiteral("after_ms"), number(0, 86'400'000,
                                            [](Fault& fault, int time) {
                                                fault.stream.afterTime =
                                                    std::chrono::milliseconds(time);
                                            })},
    };
}

} // namespace

QString toString(Endpoint endpoint) {
    switch (endpoint) {
    case Endpoint::Login:
        return QStringLiteral("login");
    case Endpoint::Me:
        return QStringLiteral("me");
    case Endpoint::Pending:
        return QStringLiteral("pending");
    case Endpoint::Stream:
        break;
    }
    return QStringLiteral("stream");
}

std::optional<Endpoint> endpointNamed(const QString& name) {
    for (const Endpoint endpoint : allEndpoints) {
        if (toString(endpoint) == name) {
            return endpoint;
        }
    }
    return std::nullopt;
}

FaultOrError faultFromJson(Endpoint endpoint, const QJsonObject& json) {
    static const QHash<QString, Setter> forRequests = requestSetters();
    static const QHash<QString, Setter> forStreams = streamSetters();
    Fault fault;
    for (auto entry = json.begin(); entry != json.end(); ++entry) {
        Setter set = forRequests.value(entry.key());
        if (!set && endpoint == Endpoint::Stream) {
            set = forStreams.value(entry.key());
        }
        if (!set) {
            return {.fault = {}, .error = QStringLiteral("unknown key: ") + entry.key()};
        }
        if (!set(fault, entry.value())) {
            return {.fault = {}, .error = QStringLiteral("unusable value of ") + entry.key()};
        }
    }
    return {.fault = fault, .error = {}};
}

QJsonObject faultJsonFromText(const QString& text) {
    QJsonObject json;
    const QStringList parts = text.split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (const QString& part : parts) {
        const qsizetype equals = part.indexOf(QLatin1Char('='));
        const QString key = part.left(equals);
        const QString value = equals < 0 ? QString() : part.mid(equals + 1);
        bool isNumber = false;
        const int number = value.toInt(&isNumber);
        json.insert(key, isNumber ? QJsonValue(number) : QJsonValue(value));
    }
    return json;
}

HttpAnswer withFault(const Fault& fault, HttpAnswer answer) {
    answer.delay = fault.delay;
    if (fault.manner != HttpAnswer::Manner::Respond) {
        answer.manner = fault.manner;
        return answer;
    }
    if (fault.status) {
        // Only a status of its own stands in the way of an upgrade.
        answer.manner = HttpAnswer::Manner::Respond;
        answer.response = HttpResponse::error(*fault.status, QStringLiteral("fault"),
                                              QStringLiteral("This answer was asked for."));
    }
    if (fault.body) {
        answer.response.body = *fault.body;
    }
    if (fault.contentType) {
        answer.response.contentType = *fault.contentType;
    }
    answer.response.headers += fault.headers;
    return answer;
}

std::optional<Fault> FaultBoard::take(Endpoint endpoint) {
    std::optional<Fault>& set = slot(endpoint);
    std::optional<Fault> taken = set;
    if (set && set->times > 0 && --set->times == 0) {
        set.reset();
    }
    return taken;
}

} // namespace devbackend
