#include "Support/WebSocket/ScriptedServer.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace tandrel::test {

namespace {

void require(bool condition, const char* what) {
    if (!condition) {
        std::perror(what);
        std::abort();
    }
}

ssl_ctx_st* makeTls(const TestCertificates::Identity& identity) {
    SSL_CTX* context = SSL_CTX_new(TLS_server_method());
    require(context != nullptr, "SSL_CTX_new");
    require(SSL_CTX_use_certificate_chain_file(context, identity.certificate.c_str()) == 1,
            "certificate");
    require(SSL_CTX_use_PrivateKey_file(context, identity.key.c_str(), SSL_FILETYPE_PEM) == 1,
            "key");
    SSL_CTX_set_mode(context, SSL_MODE_ENABLE_PARTIAL_WRITE);
    return context;
}

} // namespace

ScriptedServer::ScriptedServer(Script script)
    : ScriptedServer(std::move(script), Options()) {}

ScriptedServer::ScriptedServer(Script script, Options options)
    : script_(std::move(script))
    , options_(std::move(options)) {
    if (options_.identity) {
        tls_ = makeTls(*options_.identity);
    }
    listenOnLoopback();
    accepting_ = std::thread([this] { acceptConnections(); });
}

void ScriptedServer::listenOnLoopback() {
    listener_ = ::socket(options_.isIpv6 ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    require(listener_ >= 0, "socket");
    const int one = 1;
    ::setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    if (options_.receiveBuffer > 0) {
        ::setsockopt(listener_, SOL_SOCKET, SO_RCVBUF, &options_.receiveBuffer,
                     sizeof options_.receiveBuffer);
    }
    sockaddr_in v4{};
    v4.sin_family = AF_INET;
    v4.sin_port = htons(options_.port);
    v4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sockaddr_in6 v6{};
    v6.sin6_family = AF_INET6;
    v6.sin6_port = htons(options_.port);
    v6.sin6_addr = in6addr_loopback;
    socklen_t size = options_.isIpv6 ? sizeof v6 : sizeof v4;
    auto* const address = options_.isIpv6 ? reinterpret_cast<sockaddr*>(&v6) //
                                          : reinterpret_cast<sockaddr*>(&v4);
    require(::bind(listener_, address, size) == 0, "bind");
    require(::listen(listener_, 64) == 0, "listen");
    require(::getsockname(listener_, address, &size) == 0, "getsockname");
    port_ = ntohs(options_.isIpv6 ? v6.sin6_port : v4.sin_port);
}

ScriptedServer::~ScriptedServer() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    ::shutdown(listener_, SHUT_RDWR);
    accepting_.join();
    for (Served& served : served_) {
        served.peer->stop();
        served.thread.join();
    }
    ::close(listener_);
    if (tls_ != nullptr) {
        SSL_CTX_free(tls_);
    }
}

std::string ScriptedServer::url(const std::string& target) const {
    const std::string scheme = tls_ != nullptr ? "wss://" : "ws://";
    const std::string v4 = tls_ != nullptr ? "localhost" : "127.0.0.1";
    return scheme + (options_.isIpv6 ? "[::1]" : v4) + ':' + std::to_string(port_) + target;
}

void ScriptedServer::acceptConnections() {
    for (;;) {
        const int descriptor = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        const std::lock_guard lock(mutex_);
        if (descriptor < 0 || stopping_) {
            if (descriptor >= 0) {
                ::close(descriptor);
            }
            return;
        }
        const int one = 1;
        ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        tidyUp();
        Served& served = served_.emplace_back();
        served.peer = std::make_shared<Peer>(descriptor, tls_);
        served.thread = std::thread([this, &served] {
            serve(*served.peer);
            served.isOver = true;
        });
    }
}

void ScriptedServer::tidyUp() {
    served_.remove_if([](Served& served) {
        const bool isOver = served.isOver;
        if (isOver) {
            served.thread.join();
        }
        return isOver;
    });
}

void ScriptedServer::serve(Peer& peer) {
    if (peer.accept()) {
        script_(peer);
    }
    // The end of the script is the end of the connection, and without more ado.
    peer.close();
}

} // namespace tandrel::test
