#pragma once

#include "Foundation/Lifetime.h"
#include "Platform/HttpTransport.h"
#include "Platform/Qt/ProxyLookup.h"

#include <QByteArray>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QObject>
#include <QSslConfiguration>
#include <QString>
#include <QTimer>
#include <QUrl>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace tandrel {

/// One exchange of the Qt transport: proxies, request, redirects, body, outcome. Main thread.
class QtHttpExchange : public HttpExchange {
public:
    using Outcome = Result<HttpResponse, TransportError>;

    /// What the transport lends to each of its exchanges.
    struct Network {
        QNetworkAccessManager& manager;
        ProxyLookup& proxyLookup;
        const QSslConfiguration& tls;
        std::chrono::milliseconds idleLimit;
    };

    QtHttpExchange(const Network& network, const HttpRequest& request,
                   HttpTransport::Completion completion);
    ~QtHttpExchange() override;

    void start();
    void cancel() override;

private:
    /// Ends a reply: its transfer is aborted, and none of its signals reach `receiver` any more.
    struct ReplyEnder {
        const QObject* receiver;
        void operator()(QNetworkReply* reply) const;
    };

    /// Null when the request can go out byte for byte as it is.
    [[nodiscard]] const char* whyUnsendable(const std::string& url) const;
    [[nodiscard]] bool isProxied() const { return proxy_.type() != QNetworkProxy::NoProxy; }
    void lookUpProxies();
    void sendThrough(const QList<QNetworkProxy>& proxies);
    void sendRequest();
    [[nodiscard]] QNetworkRequest makeRequest() const;
    void connectReply();
    /// Reads what has come, as far as the sink keeps up. False when the body grew too large, which
    /// ends the exchange.
    [[nodiscard]] bool readBody();
    void handToSink(std::string part);
    void sinkHasTaken();
    void replyFinished();
    /// Where no answer has come from, nobody may be any more: the next request is to look anew.
    void doubtAddress();
    [[nodiscard]] bool mayLeadTo(const QUrl& target) const;
    [[nodiscard]] bool followRedirect(int status);
    void finish(Outcome outcome);
    void finishLater(Outcome outcome);
    /// The server has its turn: it may stay idle so long, and no longer.
    void restartIdleTimer();

    Network network_;
    HttpRequest request_;
    /// Empty once it was called.
    HttpTransport::Completion completion_;
    /// The outcome is settled, and on its way to the completion.
    bool isEnding_ = false;
    QUrl url_;
    int redirects_ = 0;
    std::string body_;
    std::uint64_t received_ = 0;
    bool sinkIsBusy_ = false;
    /// The reply ended while the sink was busy.
    bool replyHasFinished_ = false;
    QString tlsReason_;
    Handle proxyLookup_;
    QNetworkProxy proxy_{QNetworkProxy::NoProxy};
    QTimer idleTimer_;
    /// What delayed calls are bound to: they go with this exchange.
    QObject context_;
    std::unique_ptr<QNetworkReply, ReplyEnder> reply_{nullptr, ReplyEnder{&context_}};
    Lifetime lifetime_;
};

} // namespace tandrel
