#include "Platform/Qt/QtHttpExchange.h"

#include "BuildConfig.h"
#include "Platform/Qt/HostLookup.h"
#include "Platform/Qt/HttpReplyOutcome.h"
#include "Platform/Qt/QtHttpTransport.h"

#include <QMetaObject>
#include <QNetworkProxyFactory>
#include <QSslError>
#include <QStringList>

#include <algorithm>
#include <cctype>
#include <string_view>
#include <utility>

namespace tandrel {

namespace {

constexpr qint64 readBufferSize = qint64{64} * 1024;

/// Hands Qt the proxies that were looked up beforehand.
class KnownProxies : public QNetworkProxyFactory {
public:
    explicit KnownProxies(QList<QNetworkProxy> proxies)
        : proxies_(std::move(proxies)) {}
    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery& /*query*/) override {
        return proxies_;
    }

private:
    QList<QNetworkProxy> proxies_;
};

QByteArray bytes(std::string_view text) {
    return {text.data(), static_cast<qsizetype>(text.size())};
}

/// What stands in the request line: path and query.
std::string_view requestTarget(std::string_view url) {
    const std::size_t authority = url.find("://") + 3;
    const std::size_t start = std::min(url.find_first_of("/?#", authority), url.size());
    url.remove_prefix(start);
    return url.substr(0, url.find('#'));
}

/// The request line's target as Qt will write it.
QByteArray targetByQt(const QUrl& url) {
    return url.toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority | QUrl::RemoveFragment |
                         QUrl::NormalizePathSegments);
}

bool isHeaderValue(std::string_view text) {
    return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

int portOf(const QUrl& url) {
    return url.port(url.scheme() == QLatin1String("https") ? 443 : 80);
}

bool isSameOrigin(const QUrl& left, const QUrl& right) {
    return left.scheme() == right.scheme() && left.host() == right.host() &&
           portOf(left) == portOf(right);
}

bool isPlainLoopback(const QUrl& url) {
    return url.scheme() == QLatin1String("http") && ProxyLookup::isLoopback(url);
}

bool isRedirect(int status) {
    return (status >= 301 && status <= 303) || status == 307 || status == 308;
}

/// What a plain request shows its proxy. A tunnel takes name and password from the setting by
/// itself; of a plain request Qt asks its caller, over and over if the answer is wrong (6.4.2).
QByteArray credentialsForProxy(const QUrl& url, const QNetworkProxy& proxy) {
    if (proxy.type() != QNetworkProxy::HttpProxy || proxy.user().isEmpty() ||
        url.scheme() != QLatin1String("http")) {
        return {};
    }
    return "Basic " + (proxy.user() + u':' + proxy.password()).toUtf8().toBase64();
}

/// As browsers do: after 301, 302 and 303 a POST goes on as a GET without a body.
void adaptToRedirect(HttpRequest& request, int status) {
    if (status == 307 || status == 308 || request.method == "GET") {
        return;
    }
    request.method = "GET";
    request.body.reset();
    std::erase_if(request.headers, [](const auto& header) {
        return bytes(header.first).toLower() == "content-type";
    });
}

int statusOf(const QNetworkReply& reply) {
    return reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

} // namespace

void QtHttpExchange::ReplyEnder::operator()(QNetworkReply* reply) const {
    // Not all of its signals: its own end reaches Qt's thread through one of them.
    QObject::disconnect(reply, nullptr, receiver, nullptr);
    // Deleting aborts the transfer. abort() would as well, but Qt then warns of a second error when
    // one is on its way from that thread (6.4.2).
    reply->deleteLater();
}

QtHttpExchange::QtHttpExchange(const Network& network, const HttpRequest& request,
                               HttpTransport::Completion completion)
    : network_(network)
    , request_(request)
    , completion_(std::move(completion)) {
    idleTimer_.setSingleShot(true);
    idleTimer_.setTimerType(Qt::PreciseTimer);
    idleTimer_.setInterval(network_.idleLimit);
    QObject::connect(&idleTimer_, &QTimer::timeout, &context_, [this] {
        doubtAddress();
        finish(transportError(QNetworkReply::TimeoutError, {}));
    });
}

QtHttpExchange::~QtHttpExchange() = default;

void QtHttpExchange::start() {
    url_ = QUrl::fromEncoded(bytes(request_.url), QUrl::StrictMode);
    if (const char* const reason = whyUnsendable(request_.url)) {
        finishLater(TransportError{TransportError::Kind::other, reason});
        return;
    }
    url_.setUserInfo({});
    lookUpProxies();
}

void QtHttpExchange::lookUpProxies() {
    restartIdleTimer();
    if (ProxyLookup::isLoopback(url_)) {
        sendThrough({QNetworkProxy(QNetworkProxy::NoProxy)});
    } else {
        proxyLookup_ = network_.proxyLookup.start(
            url_, [this](const QList<QNetworkProxy>& proxies) { sendThrough(proxies); });
    }
}

const char* QtHttpExchange::whyUnsendable(const std::string& url) const {
    if (!url_.isValid() || url_.host().isEmpty() ||
        (url_.scheme() != QLatin1String("https") && url_.scheme() != QLatin1String("http"))) {
        return "The server's address is not valid.";
    }
    const std::string_view target = requestTarget(url);
    // Qt writes "/" for an empty path.
    if (!target.empty() && bytes(target) != targetByQt(url_)) {
        return "The request's address cannot be sent as it is.";
    }
    const bool headersAreClean =
        std::all_of(request_.headers.begin(), request_.headers.end(),
                    [](const auto& header) { return isHeaderValue(header.second); });
    return headersAreClean ? nullptr : "The request holds characters that cannot be sent.";
}

void QtHttpExchange::sendThrough(const QList<QNetworkProxy>& proxies) {
    // The manager asks the factory while it starts the request, and owns it.
    network_.manager.setProxyFactory(new KnownProxies(proxies));
    proxy_ = proxies.value(0, QNetworkProxy(QNetworkProxy::NoProxy));
    sendRequest();
}

void QtHttpExchange::sendRequest() {
    const QNetworkRequest request = makeRequest();
    const QByteArray body = bytes(request_.body.value_or(std::string()));
    QNetworkReply* reply = nullptr;
    if (request_.method == "GET" && !request_.body) {
        reply = network_.manager.get(request);
    } else if (request_.method == "POST") {
        reply = network_.manager.post(request, body);
    } else {
        reply = network_.manager.sendCustomRequest(request, bytes(request_.method), body);
    }
    reply_.reset(reply);
    reply_->setReadBufferSize(readBufferSize);
    connectReply();
    restartIdleTimer();
}

QNetworkRequest QtHttpExchange::makeRequest() const {
    QNetworkRequest request(url_);
    // After a GOAWAY, every later HTTP/2 request hung to its time-out (Qt 6.4.2).
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    // Qt forwards Authorization, and on a 308 the body, to another host.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::ManualRedirectPolicy);
    for (const auto attribute :
         {QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::CookieSaveControlAttribute,
          QNetworkRequest::AuthenticationReuseAttribute}) {
        request.setAttribute(attribute, QNetworkRequest::Manual);
    }
    // Qt's check keeps such a reply from ever finishing; the limit on the body does its work.
    request.setDecompressedSafetyCheckThreshold(-1);
    request.setSslConfiguration(network_.tls);
    request.setRawHeader("User-Agent", "TandrelStatusBar/" + bytes(config::version));
    if (const QByteArray credentials = credentialsForProxy(url_, proxy_); !credentials.isEmpty()) {
        request.setRawHeader("Proxy-Authorization", credentials);
    }
    for (const auto& [name, value] : request_.headers) {
        request.setRawHeader(bytes(name), bytes(value));
    }
    return request;
}

void QtHttpExchange::connectReply() {
    const QNetworkReply* const reply = reply_.get();
    const auto serverIsActive = [this] { restartIdleTimer(); };
    QObject::connect(reply, &QNetworkReply::metaDataChanged, &context_, serverIsActive);
    QObject::connect(reply, &QNetworkReply::uploadProgress, &context_, serverIsActive);
    QObject::connect(reply, &QNetworkReply::readyRead, &context_, [this] {
        restartIdleTimer();
        static_cast<void>(readBody());
    });
    QObject::connect(reply, &QNetworkReply::sslErrors, &context_,
                     [this](const QList<QSslError>& errors) {
                         if (!errors.isEmpty()) {
                             tlsReason_ = errors.first().errorString();
                         }
                     });
    QObject::connect(reply, &QNetworkReply::finished, &context_, [this] { replyFinished(); });
}

bool QtHttpExchange::readBody() {
    const bool isForSink = request_.sink && statusOf(*reply_) == 200;
    while (!sinkIsBusy_ && reply_->bytesAvailable() > 0) {
        const QByteArray part = reply_->read(readBufferSize);
        if (part.isEmpty()) {
            break;
        }
        received_ += static_cast<std::uint64_t>(part.size());
        if (received_ > request_.maxBodySize) {
            finish(TransportError{TransportError::Kind::tooLarge,
                                  "The server's answer is too large."});
            return false;
        }
        if (isForSink) {
            handToSink(part.toStdString());
        } else {
            body_.append(part.constData(), static_cast<std::size_t>(part.size()));
        }
    }
    return true;
}

void QtHttpExchange::handToSink(std::string part) {
    sinkIsBusy_ = true;
    // The server is not to blame for what the sink takes.
    idleTimer_.stop();
    request_.sink(std::move(part), lifetime_.guard([this] { sinkHasTaken(); }));
}

void QtHttpExchange::sinkHasTaken() {
    sinkIsBusy_ = false;
    if (!completion_ || isEnding_) {
        return;
    }
    restartIdleTimer();
    if (replyHasFinished_) {
        replyFinished();
    } else {
        static_cast<void>(readBody());
    }
}

void QtHttpExchange::restartIdleTimer() {
    if (!sinkIsBusy_) {
        idleTimer_.start();
    }
}

void QtHttpExchange::replyFinished() {
    const int status = statusOf(*reply_);
    const QNetworkReply::NetworkError error = reply_->error();
    // Of a plain request the proxy's own refusal looks like the server's.
    const bool isProxysRefusal =
        isProxied() && error == QNetworkReply::ProxyAuthenticationRequiredError;
    if (isProxysRefusal || !isAnswer(status, error)) {
        doubtAddress();
        finish(transportError(error, tlsReason_, isProxied()));
        return;
    }
    if (!readBody()) {
        return;
    }
    if (sinkIsBusy_) {
        replyHasFinished_ = true;
        return;
    }
    if (followRedirect(status)) {
        return;
    }
    finish(HttpResponse{status, std::move(body_)});
}

void QtHttpExchange::doubtAddress() {
    const bool hasAnswered = reply_ && statusOf(*reply_) > 0;
    if (!hasAnswered && !isProxied()) {
        renewRememberedAddress(url_.host());
    }
}

bool QtHttpExchange::followRedirect(int status) {
    const QByteArray location = reply_->rawHeader("Location");
    if (!isRedirect(status) || location.isEmpty() || redirects_ == QtHttpTransport::maxRedirects) {
        return false;
    }
    QUrl target = QUrl::fromEncoded(location, QUrl::StrictMode);
    if (!target.isValid()) {
        return false;
    }
    target = url_.resolved(target);
    if (!mayLeadTo(target)) {
        return false;
    }
    ++redirects_;
    url_ = target;
    body_.clear();
    received_ = 0;
    adaptToRedirect(request_, status);
    lookUpProxies();
    return true;
}

bool QtHttpExchange::mayLeadTo(const QUrl& target) const {
    if (!target.userInfo().isEmpty()) {
        return false;
    }
    if (request_.redirects == HttpRedirects::withinOrigin) {
        return isSameOrigin(url_, target);
    }
    return target.scheme() == QLatin1String("https") ||
           (isPlainLoopback(url_) && isPlainLoopback(target));
}

void QtHttpExchange::cancel() {
    if (completion_ && !isEnding_) {
        finishLater(transportError(QNetworkReply::OperationCanceledError, {}));
    }
}

void QtHttpExchange::finish(Outcome outcome) {
    idleTimer_.stop();
    proxyLookup_.reset();
    reply_.reset();
    // Last, and out of this object first: the completion may destroy it.
    const auto completion = std::exchange(completion_, nullptr);
    completion(std::move(outcome));
}

void QtHttpExchange::finishLater(Outcome outcome) {
    isEnding_ = true;
    idleTimer_.stop();
    proxyLookup_.reset();
    reply_.reset();
    QMetaObject::invokeMethod(
        &context_, [this, outcome = std::move(outcome)] { finish(outcome); }, Qt::QueuedConnection);
}

} // namespace tandrel
