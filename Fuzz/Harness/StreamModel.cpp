#include "Harness/StreamModel.h"

#include <algorithm>
#include <utility>

namespace tandrel::fuzz {

using namespace std::chrono_literals;

void StreamModel::assign(std::string state) {
    state_ = std::move(state);
    ++assignments_;
}

void StreamModel::connect(const std::string& token, bool isValid) {
    ++stream_;
    token_ = token;
    tokenIsValid_ = isValid;
    isWanted_ = true;
    attempts_ = 0;
    retriesInARow_ = 0;
    establish(token, isValid);
}

void StreamModel::establish(const std::string& token, bool isValid) {
    if (!isValid) {
        assign("error(\"Invalid WebSocket URL\")");
        return;
    }
    assign("connecting");
    current_ = connections_.size();
    connections_.push_back({token});
}

void StreamModel::disconnect() {
    isWanted_ = false;
    attempts_ = 0;
    if (current_) {
        Connection& connection = connections_.at(*current_);
        connection.wasClosedByUs = true;
        connection.pingWaits = false;
        connection.receivesWait = 0;
        current_.reset();
    }
    assign("disconnected");
}

void StreamModel::pong(std::size_t number) {
    if (std::exchange(connections_.at(number).pingWaits, false) && current_ == number) {
        attempts_ = 0;
        retriesInARow_ = 0;
        assign("connected");
    }
}

void StreamModel::loseByPing(std::size_t number, std::int64_t code) {
    if (std::exchange(connections_.at(number).pingWaits, false)) {
        lose(number, code);
    }
}

void StreamModel::loseByReceive(std::size_t number, std::int64_t code) {
    Connection& connection = connections_.at(number);
    if (connection.receivesWait > 0) {
        --connection.receivesWait;
        lose(number, code);
    }
}

void StreamModel::message(std::size_t number) {
    Connection& connection = connections_.at(number);
    if (connection.receivesWait > 0) {
        --connection.receivesWait;
        // Whichever connection there is by now is asked for the next one.
        if (current_) {
            ++connections_.at(*current_).receivesWait;
        }
    }
}

void StreamModel::send() {
    if (state_ == "connected" && current_) {
        ++connections_.at(*current_).sent;
    }
}

void StreamModel::lose(std::size_t number, std::int64_t code) {
    if (current_ != number) {
        return;
    }
    current_.reset();
    ++losses_;
    const int said = connections_.at(number).closeCode;
    const std::int64_t counts = said >= 4000 ? said : code;
    if (counts == 4001) {
        isWanted_ = false;
        assign("error(\"Session token is invalid. Please start a new session.\")");
    } else if (counts == 4002) {
        isWanted_ = false;
        assign("error(\"Session is no longer pending.\")");
    } else {
        retryLater();
    }
}

void StreamModel::retryLater() {
    static constexpr Duration waits[] = {1s, 2s, 4s, 8s, 16s};
    if (!isWanted_) {
        return;
    }
    if (attempts_ == 5) {
        assign("error(\"Connection lost. Max reconnection attempts reached.\")");
        return;
    }
    retries_.push_back({now_ + waits[attempts_], stream_, token_, tokenIsValid_});
    ++attempts_;
    assign("connecting");
}

void StreamModel::advance(Duration by) {
    now_ += by;
    std::stable_sort(retries_.begin(), retries_.end(),
                     [](const Retry& left, const Retry& right) { return left.due < right.due; });
    while (!retries_.empty() && retries_.front().due <= now_) {
        const Retry retry = retries_.front();
        retries_.erase(retries_.begin());
        // One that an earlier stream left behind, or that nobody wants any more, comes to nothing.
        if (isWanted_ && retry.stream == stream_) {
            retriesInARow_ += retry.isValid ? 1 : 0;
            establish(retry.token, retry.isValid);
        }
    }
}

} // namespace tandrel::fuzz
