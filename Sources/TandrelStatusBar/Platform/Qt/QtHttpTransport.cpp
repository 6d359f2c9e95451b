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
    : options_(options) {}

QtHttpTransport::~QtHttpTransport() = default;

QtHttpTransport::Stack& QtHttpTransport::stack() {
    if (!stack_) {
        stack_ = std::make_unique<Stack>();
        stack_->tls = makeTlsConfiguration(options_);
    }
    return *stack_;
}

std::unique_ptr<HttpExchange> QtHttpTransport::send(const HttpRequest& request,
                                                    Completion completion) {
    auto exchange = std::make_unique<QtHttpExchange>(
        QtHttpExchange::Network{stack().manager, proxyLookup_, stack().tls, options_.idleLimit},
        request, std::move(completion));
    exchange->start();
    return exchange;
}

} // namespace tandrel
