// What can happen to a stream, in any order: two to four bytes a step.
#include "Harness/Check.h"
#include "Harness/Environment.h"
#include "Harness/Input.h"
#include "Harness/StreamModel.h"
#include "Services/WebSocketService.h"
#include "Support/TestBackend.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <string_view>

namespace tandrel::fuzz {
namespace {

using namespace std::chrono_literals;

/// The service in virtual time, and the model beside it.
class Stream {
public:
    void step(Input& input) {
        const std::uint8_t what = input.byte();
        switch (what % 12) {
        case 0:
            connect(input.byte());
            break;
        case 1:
            service_->disconnect();
            model_.disconnect();
            break;
        case 2:
            send(input.byte());
            break;
        case 3:
        case 4:
            advance(std::chrono::milliseconds(250) * input.byte());
            break;
        default:
            happen(what % 12, input);
        }
        expectSame();
    }

    /// Whatever comes when the service has gone reaches nobody.
    void end() {
        const std::string state = service_->state.value().rendering();
        service_.reset();
        for (const auto& connection : connections()) {
            connection->answerPing();
            connection->lose({4001, "late"});
        }
        const std::size_t count = connections().size();
        backend_.clock.advance(1min);
        FUZZ_EXPECT(connections().size() == count && backend_.clock.pendingCount() == 0);
    }

private:
    [[nodiscard]] const std::vector<std::shared_ptr<test::FakeConnection>>& connections() const {
        return backend_.streamSocket.connections();
    }

    void connect(std::uint8_t which) {
        // A blank cannot stand in an address.
        const bool isValid = which % 8 != 7;
        const std::string token = "token" + std::to_string(which) + (isValid ? "" : " ");
        service_->connect(token);
        model_.connect(token, isValid);
    }

    void send(std::uint8_t size) {
        service_->sendAudioData(Bytes(size));
        model_.send();
    }

    void advance(StreamModel::Duration by) {
        backend_.clock.advance(by);
        model_.advance(by);
    }

    static std::int64_t codeFrom(Input& input) {
        static constexpr std::array<std::int64_t, 24> codes{
            4001,
            4002,
            4003,
            4000,
            1000,
            1001,
            1006,
            1011,
            0,
            57,
            104,
            3999,
            4004,
            4999,
            5000,
            1012,
            54,
            65535,
            -1,
            4001,
            4002,
            8193,
            std::numeric_limits<std::int64_t>::min(),
            std::numeric_limits<std::int64_t>::max()};
        return codes.at(input.byte() % codes.size());
    }

    /// Something that a connection brings, the newest one more often than not.
    void happen(unsigned what, Input& input) {
        if (connections().empty()) {
            return;
        }
        const std::uint8_t choice = input.byte();
        const std::size_t newest = connections().size() - 1;
        const std::size_t number = choice < 200 ? newest : choice % connections().size();
        test::FakeConnection& connection = *connections().at(number);
        StreamModel::Connection& expected = model_.connections().at(number);
        switch (what) {
        case 5:
        case 6:
            FUZZ_EXPECT(connection.answerPing() == expected.pingWaits);
            model_.pong(number);
            break;
        case 7:
            FUZZ_EXPECT(connection.deliver({SocketMessage::Kind::text, "text"}) ==
                        (expected.receivesWait > 0));
            model_.message(number);
            break;
        case 8:
            expected.closeCode = static_cast<int>(codeFrom(input) & 0xffff);
            connection.setCloseCode(expected.closeCode);
            break;
        default:
            lose(what, number, codeFrom(input));
        }
    }

    /// By the ping, by what is awaited, or by both: one loss all the same.
    void lose(unsigned what, std::size_t number, std::int64_t code) {
        test::FakeConnection& connection = *connections().at(number);
        if (what != 10) {
            connection.failPing({code, "lost"});
            model_.loseByPing(number, code);
        }
        if (what != 9) {
            connection.failReceive({code, "lost"});
            model_.loseByReceive(number, code);
        }
    }

    void expectSame() {
        FUZZ_EXPECT(service_->state.value().rendering() == model_.state());
        FUZZ_EXPECT(assignments_ == model_.assignments());
        FUZZ_EXPECT(model_.retriesInARow() <= 5);
        FUZZ_EXPECT(connections().size() == model_.connections().size());
        for (std::size_t number = 0; number < connections().size(); ++number) {
            const test::FakeConnection& connection = *connections()[number];
            const StreamModel::Connection& expected = model_.connections()[number];
            FUZZ_EXPECT(connection.url() ==
                        "wss://api.test/tandrel-stream?token=" + expected.token);
            FUZZ_EXPECT(connection.isResumed() && connection.pingCount() == 1);
            FUZZ_EXPECT(connection.closedWith().has_value() == expected.wasClosedByUs);
            FUZZ_EXPECT(connection.closedWith().value_or(1000) == 1000);
            FUZZ_EXPECT(connection.receiveCount() ==
                        static_cast<std::size_t>(expected.receivesWait));
            FUZZ_EXPECT(connection.sent().size() == expected.sent);
        }
        countLosses();
    }

    /// One line, and so one reaction, for each loss.
    void countLosses() {
        for (const std::string& line : takeLogLines()) {
            loggedLosses_ += line.starts_with("[WS] disconnection ") ? 1 : 0;
        }
        FUZZ_EXPECT(loggedLosses_ == model_.losses());
    }

    test::TestBackend backend_;
    std::unique_ptr<WebSocketService> service_ = std::make_unique<WebSocketService>(
        backend_.apiClient, backend_.streamSocket, backend_.clock);
    StreamModel model_;
    std::size_t assignments_ = 0;
    std::size_t loggedLosses_ = 0;
    Subscription states_ =
        service_->state.observe([this](const ConnectionState&) { ++assignments_; });
};

} // namespace
} // namespace tandrel::fuzz

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    tandrel::fuzz::usePrivateEnvironment();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tandrel::fuzz;
    static constexpr int mostSteps = 200;
    Input input(data, size);
    Stream stream;
    for (int count = 0; count < mostSteps && !input.isEmpty(); ++count) {
        stream.step(input);
    }
    stream.end();
    return 0;
}
