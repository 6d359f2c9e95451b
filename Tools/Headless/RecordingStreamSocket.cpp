#include "RecordingStreamSocket.h"

#include <chrono>
#include <fstream>
#include <utility>

namespace tandrel::headless {

namespace {

std::uint64_t fnv1a(const Bytes& message) {
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (const std::uint8_t byte : message) {
        hash = (hash ^ byte) * 0x100000001b3U;
    }
    return hash;
}

class RecordingTask : public StreamSocketTask {
public:
    RecordingTask(std::shared_ptr<StreamSocketTask> inner, std::shared_ptr<SendRecord> record)
        : inner_(std::move(inner))
        , record_(std::move(record)) {}

    void resume() override { inner_->resume(); }
    void sendPing(PingCompletion completion) override { inner_->sendPing(std::move(completion)); }
    void receive(ReceiveCompletion completion) override { inner_->receive(std::move(completion)); }
    void send(Bytes message, SendCompletion completion) override {
        record_->add(message);
        inner_->send(std::move(message), std::move(completion));
    }
    void cancel(std::uint16_t closeCode) override { inner_->cancel(closeCode); }
    [[nodiscard]] int closeCode() const override { return inner_->closeCode(); }

private:
    std::shared_ptr<StreamSocketTask> inner_;
    std::shared_ptr<SendRecord> record_;
};

} // namespace

void SendRecord::add(const Bytes& message) {
    const auto now = std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::steady_clock::now().time_since_epoch());
    const SentMessage sent{message.size(), now.count(), fnv1a(message)};
    const std::lock_guard lock(mutex_);
    messages_.push_back(sent);
    bytes_ += message.size();
}

std::size_t SendRecord::messageCount() const {
    const std::lock_guard lock(mutex_);
    return messages_.size();
}

std::size_t SendRecord::byteCount() const {
    const std::lock_guard lock(mutex_);
    return bytes_;
}

bool SendRecord::writeCsv(const std::string& path) const {
    const std::lock_guard lock(mutex_);
    std::ofstream file(path, std::ios::trunc);
    file << "index,bytes,monotonic_ns,fnv1a64\n";
    std::size_t index = 0;
    for (const SentMessage& message : messages_) {
        file << index++ << ',' << message.bytes << ',' << message.nanoseconds << ',' << std::hex
             << message.hash << std::dec << '\n';
    }
    file.close();
    return !file.fail();
}

RecordingStreamSocket::RecordingStreamSocket(StreamSocket& inner,
                                             std::shared_ptr<SendRecord> record)
    : inner_(inner)
    , record_(std::move(record)) {}

std::shared_ptr<StreamSocketTask> RecordingStreamSocket::webSocketTask(const std::string& url) {
    return std::make_shared<RecordingTask>(inner_.webSocketTask(url), record_);
}

} // namespace tandrel::headless
