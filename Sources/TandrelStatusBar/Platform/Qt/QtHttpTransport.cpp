#include "Platform/Qt/QtHttpTransport.h"

#include "Platform/Qt/QtHttpExchange.h"

#include <QSslCertificate>

namespace tandrel {

namespace {

QSslConfiguration makeTlsConfiguration(const QtHttpTransport::Options& options) {
    auto configuration = QSslConfiguration::defaultConfiguration();
    for (const auto& file : options.extraAuthorities) {
        configuration.addCaCertificates(
            QSslCertificate::fromPath(QString::fromStdString(file.string())));
    }
    return configuration;
}

} // namespace

QtHttpTransport::QtHttpTransport()
    : QtHttpTransport(Options{}) {}

QtHttpTransport::QtHttpTransport(const Options& options)
    : idleLimit_(options.idleLimit)
    , tls_(makeTlsConfiguration(options)) {}

QtHttpTransport::~QtHttpTransport() = default;

std::unique_ptr<HttpExchange> QtHttpTransport::send(const HttpRequest& request,
                                                    Completion completion) {
    auto exchange = std::make_unique<QtHttpExchange>(
        QtHttpExchange::Network{manager_, proxyLookup_, tls_, idleLimit_}, request,
        std::move(completion));
    exchange->start();
    return exchange;
}

} // namespace tandrel
