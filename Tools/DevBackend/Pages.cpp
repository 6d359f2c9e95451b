#include "DevBackend/Pages.h"

#include <QFile>

namespace devbackend {

namespace {

QByteArray resource(const QString& name) {
    QFile file(QStringLiteral(":/dev-backend/pages/") + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

HttpResponse page(const QString& name, int status = 200) {
    HttpResponse response;
    response.status = status;
    response.contentType = "text/html; charset=utf-8";
    response.body = resource(name);
    response.body.replace("{{style}}", resource(QStringLiteral("style.css")));
    response.body.replace("{{live}}", resource(QStringLiteral("live.js")));
    // Whatever a page shows comes from this program.
    response.headers.push_back(
        {"Content-Security-Policy",
         "default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'; "
         "connect-src 'self'; media-src 'self' blob:; img-src data:"});
    return response;
}

} // namespace

HttpResponse pageFor(const HttpRequest& request) {
    const QByteArray path = request.path();
    if (path == "/") {
        return page(QStringLiteral("home.html"));
    }
    if (path.startsWith("/interviews/") && path.size() > 12) {
        // The page reads the interview's id from its own address.
        return page(QStringLiteral("interview.html"));
    }
    if (path == "/auth/reset-password") {
        return page(QStringLiteral("reset-password.html"));
    }
    if (path == "/privacy-policy") {
        return page(QStringLiteral("privacy-policy.html"));
    }
    return page(QStringLiteral("not-found.html"), 404);
}

} // namespace devbackend
