#include "EndToEnd/UpdateServer.h"

#include "Support/Qt/ScriptedHttpServer.h"

#include <QEventLoop>
#include <QMetaObject>

#include <utility>

namespace tandrel::test {

UpdateServer::UpdateServer() {
    std::promise<Started> started;
    std::future<Started> whenStarted = started.get_future();
    thread_ =
        std::thread([this, promise = std::move(started)]() mutable { run(std::move(promise)); });
    started_ = whenStarted.get();
}

UpdateServer::~UpdateServer() {
    QMetaObject::invokeMethod(started_.loop, &QEventLoop::quit, Qt::QueuedConnection);
    thread_.join();
}

void UpdateServer::run(std::promise<Started> started) {
    QEventLoop events;
    ScriptedHttpServer server;
    server.onRequest(
        [this](const auto& request, auto connection) { connection.send(answerTo(request.line)); });
    started.set_value({server.serverPort(), &events});
    events.exec();
}

std::string UpdateServer::url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(started_.port) + path;
}

void UpdateServer::serve(const std::string& feed, const std::string& package, bool sendsAllOfIt) {
    const std::lock_guard lock(mutex_);
    feed_ = feed;
    package_ = package;
    sendsAllOfIt_ = sendsAllOfIt;
}

std::string UpdateServer::answerTo(const std::string& requestLine) const {
    const std::lock_guard lock(mutex_);
    if (requestLine.find("appcast") != std::string::npos) {
        return ScriptedHttpServer::response("200 OK", feed_);
    }
    const std::string answer = ScriptedHttpServer::response("200 OK", package_);
    return sendsAllOfIt_ ? answer : answer.substr(0, answer.size() - package_.size() / 2);
}

} // namespace tandrel::test
