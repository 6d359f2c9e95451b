#include "Peers/BareSender/BareSender.h"
#include "Platform/Qt/EventLoops.h"
#include "Platform/WebSocket/QtStreamSocket.h"
#include "Support/ManualMainQueue.h"
#include "Support/TestCertificates.h"
#include "Support/WebSocket/ScriptedServer.h"
#include "Support/WebSocket/StreamClient.h"

#include <QCoreApplication>
#include <QList>
#include <QSslCertificate>
#include <QString>

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <optional>
#include <thread>

namespace tandrel {
namespace {

using test::Peer;
using test::ScriptedServer;
using test::StreamClient;
using test::TestCertificates;

// One granted buffer at 48 kHz, 46.9 of them a second.
constexpr std::size_t messageBytes = 682;
constexpr std::chrono::microseconds interval{21'312};
// The first ones meet cold caches and a connection that still finds its pace.
constexpr int warmUp = 47;
constexpr int messages = 470;

/// Processor time that the calling thread has used, in seconds.
double threadSeconds() {
    timespec used{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
}

/// What the program's socket works with, made as the program makes it.
class Network {
public:
    explicit Network(bool secure) {
        if (secure) {
            certificates_.emplace();
            serverOptions_.identity = certificates_->good();
            socketOptions_.extraAuthorities = QSslCertificate::fromPath(
                QString::fromStdString(certificates_->authority().string()));
        }
    }

    test::ManualMainQueue mainQueue;

    [[nodiscard]] const ScriptedServer::Options& serverOptions() const { return serverOptions_; }
    [[nodiscard]] const QtStreamSocket::Options& socketOptions() const { return socketOptions_; }

private:
    static QCoreApplication& startApplication() {
        usePlainEventLoops(PlainLoops::everywhere);
        static int count = 1;
        static char name[] = "StreamSocketBenchmark";
        static char* arguments[] = {name, nullptr};
        static QCoreApplication application(count, arguments);
        return application;
    }

    QCoreApplication& application_ = startApplication();
    std::optional<TestCertificates> certificates_;
    ScriptedServer::Options serverOptions_;
    QtStreamSocket::Options socketOptions_;
};

/// A sending thread's clock, read by the thread itself when a message has gone out.
struct ThreadClock {
    std::atomic<int> sent{0};
    std::atomic<bool> hasFailed{false};
    std::atomic<double> start{0};
    std::atomic<double> end{0};

    void note(const std::optional<SocketError>& error) {
        hasFailed = hasFailed || error.has_value();
        const int number = ++sent;
        if (number == warmUp) {
            start = threadSeconds();
        } else if (number == warmUp + messages) {
            end = threadSeconds();
        }
    }

    [[nodiscard]] bool isComplete() const { return !hasFailed && sent == warmUp + messages; }
    [[nodiscard]] double secondsPerMessage() const { return (end - start) / messages; }
};

/// Processor time of the network thread for ten seconds of audio at the pace of a microphone, per
/// message; beside it, message by message in between, that of a thread that does no more than the
/// system asks for (`floor`, without TLS), and how many times that ours is (`ratio`). On a machine
/// where the floor is far below them, the goals are 60 us over ws and 130 us over wss. Argument:
/// whether with TLS.
void streamMessages(benchmark::State& state) {
    const bool secure = state.range(0) != 0;
    Network network(secure);
    const ScriptedServer server(
        [](Peer& peer) {
            if (peer.upgrade()) {
                (void)peer.serveUntilEnd();
            }
        },
        network.serverOptions());
    for (auto _ : state) {
        ThreadClock clock;
        ThreadClock floorClock;
        {
            bench::BareSender floor([&floorClock] { floorClock.note(std::nullopt); });
            QtStreamSocket socket(network.mainQueue, network.socketOptions());
            StreamClient client(socket, network.mainQueue, server.url());
            if (!client.waitForPong()) {
                state.SkipWithError("no connection");
                return;
            }
            auto next = std::chrono::steady_clock::now();
            for (int count = 0; count < warmUp + messages; ++count) {
                client.task->send(Bytes(messageBytes),
                                  [&clock](const auto& error) { clock.note(error); });
                std::this_thread::sleep_until(next + interval / 2);
                floor.send();
                next += interval;
                std::this_thread::sleep_until(next);
            }
            client.task->cancel(1000);
        }
        if (!clock.isComplete() || !floorClock.isComplete()) {
            state.SkipWithError("not every message was sent");
            return;
        }
        state.SetIterationTime(clock.secondsPerMessage());
        state.counters["floor_us"] = floorClock.secondsPerMessage() * 1e6;
        state.counters["ratio"] = clock.secondsPerMessage() / floorClock.secondsPerMessage();
    }
    state.SetLabel(secure ? "wss, goal 130 us a message" : "ws, goal 60 us a message");
}
BENCHMARK(streamMessages)
    ->ArgName("tls")
    ->Arg(0)
    ->Arg(1)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond)
    ->Iterations(1)
    ->Repetitions(3);

} // namespace
} // namespace tandrel
