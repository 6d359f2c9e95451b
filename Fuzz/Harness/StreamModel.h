#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tandrel::fuzz {

/// What the stream's life is to be, from the table of close codes and the rules of reconnecting, in
/// the simplest form: one call for each thing that can happen, no sockets, no timers.
class StreamModel {
public:
    using Duration = std::chrono::nanoseconds;

    /// A connection as the model has it; the number counts from 0.
    struct Connection {
        std::string token;
        int closeCode = 0;
        bool wasClosedByUs = false;
        bool pingWaits = true;
        int receivesWait = 1;
        std::size_t sent = 0;
    };

    void connect(const std::string& token, bool isValid);
    void disconnect();
    void pong(std::size_t number);
    void loseByPing(std::size_t number, std::int64_t code);
    void loseByReceive(std::size_t number, std::int64_t code);
    void message(std::size_t number);
    void send();
    void advance(Duration by);

    [[nodiscard]] const std::string& state() const { return state_; }
    [[nodiscard]] std::vector<Connection>& connections() { return connections_; }
    /// Losses that counted, and assignments of the state.
    [[nodiscard]] std::size_t losses() const { return losses_; }
    [[nodiscard]] std::size_t assignments() const { return assignments_; }
    /// Connections that were opened in a row without a pong, the first one not counted.
    [[nodiscard]] int retriesInARow() const { return retriesInARow_; }

private:
    struct Retry {
        Duration due{};
        std::size_t stream = 0;
        std::string token;
        bool isValid = false;
    };

    void assign(std::string state);
    void establish(const std::string& token, bool isValid);
    void lose(std::size_t number, std::int64_t code);
    void retryLater();

    std::string state_ = "disconnected";
    std::vector<Connection> connections_;
    /// The one whose events count; none once it was lost or given up.
    std::optional<std::size_t> current_;
    std::vector<Retry> retries_;
    std::string token_;
    bool tokenIsValid_ = false;
    bool isWanted_ = false;
    std::size_t stream_ = 0;
    int attempts_ = 0;
    int retriesInARow_ = 0;
    std::size_t losses_ = 0;
    std::size_t assignments_ = 0;
    Duration now_{};
};

} // namespace tandrel::fuzz
