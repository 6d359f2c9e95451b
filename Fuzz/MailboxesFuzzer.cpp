// What passes between the main thread and the network's: a byte for the room there is, then one or
// two for each call.
#include "Harness/Check.h"
#include "Harness/Input.h"
#include "Platform/WebSocket/Inbox.h"
#include "Platform/WebSocket/SendQueue.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <utility>

namespace tandrel::fuzz {
namespace {

/// The inbox beside a list of what is in it.
class IncomingModel {
public:
    explicit IncomingModel(std::size_t capacity)
        : capacity_(capacity)
        , inbox_(capacity) {}

    void step(Input& input) {
        switch (input.byte() % 8) {
        case 0:
            addMessage(input.byte());
            break;
        case 1:
            ++pongs_;
            expectWake(inbox_.addPong());
            break;
        case 2:
            loss_ = input.byte();
            expectWake(inbox_.setLoss({*loss_, "lost"}));
            break;
        case 3:
            waits_ = bytes() >= capacity_;
            FUZZ_EXPECT(inbox_.mustWaitForRoom() == waits_);
            break;
        case 4:
            takeMessage();
            break;
        case 5:
            FUZZ_EXPECT(inbox_.takePongs() == std::exchange(pongs_, 0));
            break;
        case 6:
            inbox_.beginDelivery();
            isScheduled_ = false;
            break;
        default:
            requestDelivery();
        }
        expectSame();
    }

private:
    [[nodiscard]] std::size_t bytes() const {
        std::size_t sum = 0;
        for (const std::string& message : messages_) {
            sum += message.size() + sizeof(SocketMessage);
        }
        return sum;
    }

    void addMessage(std::size_t size) {
        messages_.push_back(std::string(size, static_cast<char>('a' + added_++ % 26)));
        expectWake(inbox_.addMessage({SocketMessage::Kind::binary, messages_.back()}));
    }

    void takeMessage() {
        const auto message = inbox_.takeMessage();
        FUZZ_EXPECT(message.has_value() == !messages_.empty());
        if (message) {
            FUZZ_EXPECT(message->payload == messages_.front());
            messages_.pop_front();
        }
        const bool hasRoom = waits_ && bytes() <= capacity_ / 2;
        FUZZ_EXPECT(inbox_.takeRoomMade() == hasRoom);
        waits_ = waits_ && !hasRoom;
    }

    /// Something that waits wakes the main thread once.
    void requestDelivery() {
        const bool somethingWaits = !messages_.empty() || pongs_ > 0 || loss_;
        const bool isDue = somethingWaits && !isScheduled_;
        FUZZ_EXPECT(inbox_.requestDelivery() == isDue);
        isScheduled_ = isScheduled_ || isDue;
    }

    void expectWake(bool wakes) {
        FUZZ_EXPECT(wakes == !isScheduled_);
        isScheduled_ = true;
    }

    void expectSame() const {
        FUZZ_EXPECT(inbox_.hasMessages() == !messages_.empty());
        FUZZ_EXPECT(inbox_.loss().has_value() == loss_.has_value());
        FUZZ_EXPECT(!loss_ || inbox_.loss()->code == *loss_);
    }

    std::size_t capacity_;
    Inbox inbox_;
    std::deque<std::string> messages_;
    std::size_t added_ = 0;
    std::size_t pongs_ = 0;
    std::optional<int> loss_;
    bool isScheduled_ = false;
    bool waits_ = false;
};

/// The send queue beside a list of what is in it.
class OutgoingModel {
public:
    explicit OutgoingModel(std::size_t capacity)
        : capacity_(capacity)
        , queue_(capacity) {}

    void step(Input& input) {
        switch (input.byte() % 8) {
        case 4:
            queue_.beginRound();
            wakePending_ = false;
            break;
        case 5:
        case 6:
            pop();
            break;
        case 7:
            close(input.byte());
            break;
        default:
            push(input.byte());
        }
        FUZZ_EXPECT(bytes() <= capacity_);
        FUZZ_EXPECT(queue_.hasOverflowed() == overflowed_);
        const auto oldest = queue_.oldest();
        FUZZ_EXPECT(oldest.has_value() == !messages_.empty());
        FUZZ_EXPECT(!oldest || *oldest == messages_.front().second);
    }

private:
    using Pushed = SendQueue::Pushed;

    [[nodiscard]] std::size_t bytes() const {
        std::size_t sum = 0;
        for (const auto& message : messages_) {
            sum += message.first.size() + sizeof(SendQueue::Message);
        }
        return sum;
    }

    void push(std::size_t size) {
        const SendQueue::Time now{std::chrono::milliseconds(++pushed_)};
        const Bytes payload(size, static_cast<std::uint8_t>(pushed_));
        SendQueue::Message message{payload, nullptr, now};
        const Pushed pushed = queue_.push(message);
        const bool fits = bytes() + size + sizeof(SendQueue::Message) <= capacity_;
        if (closed_ || !fits) {
            FUZZ_EXPECT(pushed == Pushed::refused && message.payload == payload);
            overflowed_ = overflowed_ || !closed_;
            return;
        }
        FUZZ_EXPECT(pushed == (wakePending_ ? Pushed::waiting : Pushed::wakeNeeded));
        wakePending_ = true;
        messages_.emplace_back(payload, now);
    }

    void pop() {
        const auto message = queue_.pop();
        FUZZ_EXPECT(message.has_value() == !messages_.empty());
        if (message) {
            FUZZ_EXPECT(message->payload == messages_.front().first);
            messages_.pop_front();
        }
    }

    /// Seldom: it is the end.
    void close(std::uint8_t chance) {
        if (chance % 8 != 0) {
            return;
        }
        const auto left = queue_.close();
        FUZZ_EXPECT(left.size() == messages_.size());
        for (std::size_t index = 0; index < left.size(); ++index) {
            FUZZ_EXPECT(left[index].payload == messages_[index].first);
        }
        messages_.clear();
        closed_ = true;
    }

    std::size_t capacity_;
    SendQueue queue_;
    std::deque<std::pair<Bytes, SendQueue::Time>> messages_;
    std::int64_t pushed_ = 0;
    bool wakePending_ = false;
    bool overflowed_ = false;
    bool closed_ = false;
};

} // namespace
} // namespace tandrel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tandrel::fuzz;
    Input input(data, size);
    const std::size_t capacity = std::size_t{input.byte()} * 8;
    IncomingModel incoming(capacity);
    OutgoingModel outgoing(capacity);
    while (!input.isEmpty()) {
        incoming.step(input);
        outgoing.step(input);
    }
    return 0;
}
