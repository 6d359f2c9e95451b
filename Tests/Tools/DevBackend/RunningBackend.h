#pragma once

#include "Support/ChildProcess.h"

#include <QByteArray>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QUrl>
#include <QWebSocket>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tandrel::test {

/// Runs the event loop until `condition` holds; false after ten seconds.
[[nodiscard]] bool waitFor(const std::function<bool()>& condition);

struct Reply {
    int status = 0;
    QNetworkReply::NetworkError error = QNetworkReply::NoError;
    QByteArray body;
    [[nodiscard]] QJsonObject json() const;
};

/// A stream client that notes how it fared.
class Stream {
public:
    explicit Stream(const QUrl& url);

    void send(const QByteArray& message) { socket_.sendBinaryMessage(message); }
    void ping() { socket_.ping(); }
    void close() { socket_.close(); }
    void abort() { socket_.abort(); }
    [[nodiscard]] bool isOpen() const { return wasOpened_ && !hasEnded_; }
    [[nodiscard]] bool hasEnded() const { return hasEnded_; }
    [[nodiscard]] bool wasOpened() const { return wasOpened_; }
    [[nodiscard]] int pongs() const { return pongs_; }
    [[nodiscard]] int closeCode() const { return socket_.closeCode(); }
    /// What QWebSocket says went wrong; empty when nothing did.
    [[nodiscard]] const QString& error() const { return error_; }
    [[nodiscard]] const std::vector<QString>& texts() const { return texts_; }
    [[nodiscard]] const std::vector<QByteArray>& binaries() const { return binaries_; }

private:
    QWebSocket socket_;
    bool wasOpened_ = false;
    bool hasEnded_ = false;
    int pongs_ = 0;
    QString error_;
    std::vector<QString> texts_;
    std::vector<QByteArray> binaries_;
};

/// The real program, on a free port, with an HTTP client of the test's own.
class RunningBackend {
public:
    explicit RunningBackend(const std::vector<std::string>& arguments = {});

    [[nodiscard]] Reply request(const QByteArray& method, const QString& path,
                                const QByteArray& body = {}, const QByteArray& token = {});
    /// Signs in as the demo account and returns the access token.
    [[nodiscard]] QByteArray signIn();
    /// Starts a session through the control interface.
    [[nodiscard]] QJsonObject startSession(const QByteArray& body = {});
    [[nodiscard]] QJsonObject describe(const QJsonObject& session);
    [[nodiscard]] std::unique_ptr<Stream> openStream(const QByteArray& token);

    [[nodiscard]] quint16 port() const { return port_; }
    [[nodiscard]] std::string log() const;
    [[nodiscard]] ChildProcess& process() { return *process_; }

private:
    std::filesystem::path folder_;
    std::unique_ptr<ChildProcess> process_;
    quint16 port_ = 0;
    QNetworkAccessManager network_;
};

} // namespace tandrel::test
