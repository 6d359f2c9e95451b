#pragma once

#include "Platform/WebSocket/QtStreamSocket.h"
#include "Support/ManualMainQueue.h"
#include "Support/WebSocket/ScriptedServer.h"
#include "Support/WebSocket/StreamClient.h"

#include <QList>
#include <QSslCertificate>
#include <QString>

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace tandrel::test {

/// A network thread, the main queue it posts to, and clients on both.
class StreamSocketFixture : public testing::Test {
protected:
    /// The limits in force for the sockets made from here on.
    SocketLimits limits;
    QList<QSslCertificate> authorities;
    ManualMainQueue mainQueue;

    [[nodiscard]] QtStreamSocket& socket() {
        if (!socket_) {
            socket_ = std::make_unique<QtStreamSocket>(
                mainQueue, QtStreamSocket::Options{limits, authorities});
        }
        return *socket_;
    }
    void endSocket() { socket_.reset(); }

    [[nodiscard]] StreamClient connectTo(const ScriptedServer& server) {
        return {socket(), mainQueue, server.url()};
    }

private:
    std::unique_ptr<QtStreamSocket> socket_;
};

/// Made once for the test program.
inline const TestCertificates& certificates() {
    static const TestCertificates made;
    return made;
}

inline QList<QSslCertificate> testAuthority() {
    return QSslCertificate::fromPath(QString::fromStdString(certificates().authority().string()));
}

/// The same tests over ws and over wss.
class StreamSocketOverBoth : public StreamSocketFixture, public testing::WithParamInterface<bool> {
protected:
    StreamSocketOverBoth() {
        if (GetParam()) {
            authorities = testAuthority();
        }
    }

    [[nodiscard]] static ScriptedServer::Options serverOptions() {
        ScriptedServer::Options options;
        if (GetParam()) {
            options.identity = certificates().good();
        }
        return options;
    }
    [[nodiscard]] static const char* scheme() { return GetParam() ? "wss" : "ws"; }
};

inline std::string schemeName(const testing::TestParamInfo<bool>& info) {
    return info.param ? "Wss" : "Ws";
}

/// Calls `work` in regular intervals on a thread of its own, as the sound's thread does.
class Pacer {
public:
    Pacer(std::chrono::microseconds interval, std::function<void()> work)
        : thread_([this, interval, work = std::move(work)] {
            auto next = std::chrono::steady_clock::now();
            while (!stopped_) {
                work();
                next += interval;
                std::this_thread::sleep_until(next);
            }
        }) {}
    ~Pacer() { stop(); }
    Pacer(const Pacer&) = delete;
    Pacer& operator=(const Pacer&) = delete;

    void stop() {
        stopped_ = true;
        if (thread_.joinable()) {
            thread_.join();
        }
    }

private:
    std::atomic<bool> stopped_{false};
    std::thread thread_;
};

/// One granted buffer at 48 kHz: 341 frames of 16 bits.
inline constexpr std::size_t audioMessageBytes = 682;
inline constexpr std::chrono::microseconds audioInterval{21'312};

/// The frames that a script has read, to be looked at once it is done.
struct ServedFrames {
    std::vector<WireFrame> frames;
    std::atomic<bool> done{false};

    void serve(Peer& peer) {
        frames = peer.serveUntilEnd();
        done = true;
    }
    [[nodiscard]] bool wait(ManualMainQueue& queue) const {
        return queue.drainUntil([this] { return done.load(); });
    }
};

/// Time since the object was made.
class Stopwatch {
public:
    [[nodiscard]] double seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

} // namespace tandrel::test
