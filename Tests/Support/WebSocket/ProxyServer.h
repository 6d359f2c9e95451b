#pragma once

#include "Support/WebSocket/ScriptedServer.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace tandrel::test {

/// A proxy on 127.0.0.1 that takes every name for this machine: what it is asked to reach at any
/// host is reached at 127.0.0.1, so that tests can use names that no proxy setting leaves out.
/// Tunnels (CONNECT) and requests in absolute form, with or without Basic credentials; or SOCKS 5.
class ProxyServer {
public:
    enum class Kind { http, socks5 };
    struct Options {
        Kind kind = Kind::http;
        /// "name:password" that it asks for; empty when it asks for none.
        std::string credentials;
        /// How much of the client's it passes on, in each connection, before it stops reading.
        std::size_t takesAtMost = SIZE_MAX;
        /// Takes connections and never answers.
        bool isSilent = false;
    };

    ProxyServer();
    explicit ProxyServer(Options options);
    /// One that does as a member of `Options` says, and the usual otherwise.
    [[nodiscard]] static Options socks5();
    [[nodiscard]] static Options asking(const std::string& credentials);
    [[nodiscard]] static Options taking(std::size_t atMost);
    [[nodiscard]] static Options silent();

    /// As it stands in settings: "http://127.0.0.1:port", with `credentials` before the address.
    [[nodiscard]] std::string url(const std::string& credentials = {}) const;
    [[nodiscard]] std::uint16_t port() const { return server_.port(); }
    /// The heads of all requests so far; of SOCKS the hosts with their ports.
    [[nodiscard]] std::vector<std::string> requests() const;
    [[nodiscard]] int connectionCount() const { return connections_; }

private:
    void serve(Peer& peer);
    void serveHttp(Peer& peer);
    void serveSocks(Peer& peer);
    void note(const std::string& request);
    [[nodiscard]] bool isAllowed(const std::string& head) const;
    void relay(Peer& peer, const std::string& port, const std::string& first) const;

    Options options_;
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;
    std::atomic<int> connections_{0};
    /// Last: its scripts use all of the above.
    ScriptedServer server_;
};

} // namespace tandrel::test
