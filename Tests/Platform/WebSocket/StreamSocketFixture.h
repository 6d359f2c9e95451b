#pragma once

#include "Platform/WebSocket/QtStreamSocket.h"
#include "Support/ManualMainQueue.h"
#include "Support/WebSocket/ScriptedServer.h"
#include "Support/WebSocket/StreamClient.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>

namespace tandrel::test {

/// A network thread, the main queue it posts to, and clients on both.
class StreamSocketFixture : public testing::Test {
protected:
    /// The limits in force for the sockets made from here on.
    SocketLimits limits;
    ManualMainQueue mainQueue;

    [[nodiscard]] QtStreamSocket& socket() {
        if (!socket_) {
            socket_ =
                std::make_unique<QtStreamSocket>(mainQueue, QtStreamSocket::Options{limits, {}});
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
