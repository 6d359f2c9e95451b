#pragma once

#include "Support/TestCertificates.h"
#include "Support/WebSocket/Peer.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace tandrel::test {

/// A server on 127.0.0.1, or on ::1, whose every byte the test decides: runs a script for each
/// connection, on a thread of its own. It knows no more of WebSockets than `Peer` offers, so it can
/// break every rule. The destructor ends all scripts and waits for them.
class ScriptedServer {
public:
    using Script = std::function<void(Peer&)>;

    struct Options {
        /// With TLS, under this certificate.
        std::optional<TestCertificates::Identity> identity;
        /// Size of the kernel's receive buffer, 0 for the system's own.
        int receiveBuffer = 0;
        std::uint16_t port = 0;
        /// Listens on ::1 alone.
        bool isIpv6 = false;
    };

    explicit ScriptedServer(Script script);
    ScriptedServer(Script script, Options options);
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    [[nodiscard]] std::uint16_t port() const { return port_; }
    /// "ws://127.0.0.1:port", "wss://localhost:port" or "ws(s)://[::1]:port", and `target`.
    [[nodiscard]] std::string url(const std::string& target = "/tandrel-stream?token=secret") const;

private:
    struct Served {
        std::shared_ptr<Peer> peer;
        std::atomic<bool> isOver{false};
        std::thread thread;
    };

    void listenOnLoopback();
    void acceptConnections();
    void serve(Peer& peer);
    /// Joins the threads whose scripts have ended, so that connection upon connection takes no more
    /// than those that are open.
    void tidyUp();

    Script script_;
    Options options_;
    ssl_ctx_st* tls_ = nullptr;
    int listener_ = -1;
    std::uint16_t port_ = 0;
    std::mutex mutex_;
    std::list<Served> served_;
    bool stopping_ = false;
    std::thread accepting_;
};

} // namespace tandrel::test
