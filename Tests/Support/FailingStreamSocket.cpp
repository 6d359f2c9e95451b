#include "Support/FailingStreamSocket.h"

#include "Foundation/Lifetime.h"

#include <utility>

namespace tandrel::test {

class FailingStreamSocket::Task : public StreamSocketTask {
public:
    Task(std::shared_ptr<StreamSocketTask> inner, Clock& clock, NthCall& nth, Failure failure)
        : inner_(std::move(inner))
        , clock_(clock)
        , nth_(nth)
        , failure_(std::move(failure)) {}

    void resume() override { inner_->resume(); }

    void sendPing(PingCompletion completion) override {
        ping_ = std::move(completion);
        const bool isBad = fails(Failure::Call::ping);
        if (isBad && failure_.error) {
            loseLater();
            return;
        }
        const Clock::Duration delay = isBad ? *failure_.after : Clock::Duration::zero();
        inner_->sendPing(lifetime_.guard([this, isBad, delay](std::optional<SocketError> error) {
            if (isBad) {
                pong_ = clock_.after(delay, [this, error] { answerPing(error); });
            } else {
                answerPing(error);
            }
        }));
    }

    void receive(ReceiveCompletion completion) override {
        receive_ = std::move(completion);
        if (fails(Failure::Call::receive)) {
            loseLater();
            return;
        }
        inner_->receive(lifetime_.guard([this](const Result<SocketMessage, SocketError>& result) {
            if (const auto waiting = std::exchange(receive_, nullptr)) {
                waiting(result);
            }
        }));
    }

    void send(Bytes message, SendCompletion completion) override {
        if (!fails(Failure::Call::send)) {
            inner_->send(std::move(message), std::move(completion));
        } else if (failure_.after) {
            completion(failure_.error);
        }
    }

    void cancel(std::uint16_t closeCode) override {
        ping_ = nullptr;
        receive_ = nullptr;
        pong_.reset();
        loss_.reset();
        if (inner_) {
            inner_->cancel(closeCode);
        }
    }

    [[nodiscard]] int closeCode() const override {
        if (fails(Failure::Call::closeCode)) {
            return 0;
        }
        return inner_ ? inner_->closeCode() : failure_.closeCode;
    }

private:
    [[nodiscard]] bool fails(Failure::Call call) const {
        return failure_.call == call && nth_.fails();
    }

    void answerPing(const std::optional<SocketError>& error) {
        if (const auto waiting = std::exchange(ping_, nullptr)) {
            waiting(error);
        }
    }

    void loseLater() {
        loss_ = clock_.after(*failure_.after, [this] { lose(); });
    }

    void lose() {
        inner_.reset();
        // All taken out first: whoever hears of it may destroy this task.
        const SocketError error = *failure_.error;
        const auto ping = std::exchange(ping_, nullptr);
        const auto receive = std::exchange(receive_, nullptr);
        if (ping) {
            ping(error);
        }
        if (receive) {
            receive(error);
        }
    }

    std::shared_ptr<StreamSocketTask> inner_;
    Clock& clock_;
    NthCall& nth_;
    const Failure failure_;
    PingCompletion ping_;
    ReceiveCompletion receive_;
    Handle pong_;
    Handle loss_;
    Lifetime lifetime_;
};

std::shared_ptr<StreamSocketTask> FailingStreamSocket::webSocketTask(const std::string& url) {
    auto task = inner_.webSocketTask(url);
    if (failure_) {
        return std::make_shared<Task>(std::move(task), clock_, nth_, *failure_);
    }
    return task;
}

} // namespace tandrel::test
