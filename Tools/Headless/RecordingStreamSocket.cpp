#include "RecordingStreamSocket.h"

#include <chrono>
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
    RecordingTask(std::shared_ptr<StreamSocketTask> inner, std::shared_ptr<SendRecord> record,
                  std::uint32_t connection)
        : inner_(std::move(inner))
        , record_(std::move(record))
        , connection_(connection) {}

    void resume() override { inner_->resume(); }
    void sendPing(PingCompletion completion) override { inner_->sendPing(std::move(completion)); }
    void receive(ReceiveCompletion completion) override { inner_->receive(std::move(completion)); }
    void send(Bytes message, SendCompletion completion) override {
        record_->add(connection_, message);
        inner_->send(std::move(message), std::move(completion));
    }
    void cancel(std::uint16_t closeCode) override { inner_->cancel(closeCode); }
    [[nodiscard]] int closeCode() const override { return inner_->closeCode(); }

private:
    std::shared_ptr<StreamSocketTask> inner_;
    std::shared_ptr<SendRecord> record_;
    std::uint32_t connection_;
};

} // namespace

SendRecord::SendRecord(const std::optional<std::string>& path)
    : isWritten_(path.has_value()) {
    if (path) {
        file_.open(*path, std::ios::trunc);
        file_ << "index,connection,bytes,monotonic_ns,fnv1a64\n";
    }
}

void SendRecord::add(std::uint32_t connection, const Bytes& message) {
    const auto now = std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::steady_clock::now().time_since_epoch());
    const std::lock_guard lock(mutex_);
    if (isWritten_) {
        file_ << messages_ << ',' << connection << ',' << message.size() << ',' << now.count()
              << ',' << std::hex << fnv1a(message) << std::dec << '\n';
    }
    ++messages_;
    bytes_ += message.size();
}

std::size_t SendRecord::messageCount() const {
    const std::lock_guard lock(mutex_);
    return messages_;
}

std::size_t SendRecord::byteCount() const {
    const std::lock_guard lock(mutex_);
    return bytes_;
}

bool SendRecord::close() {
    const std::lock_guard lock(mutex_);
    file_.close();
    return !file_.fail();
}

RecordingStreamSocket::RecordingStreamSocket(StreamSocket& inner,
                                             std::shared_ptr<SendRecord> record)
    : inner_(inner)
    , record_(std::move(record)) {}

std::shared_ptr<StreamSocketTask> RecordingStreamSocket::webSocketTask(const std::string& url) {
    return std::make_shared<RecordingTask>(inner_.webSocketTask(url), record_, ++connections_);
}

} // namespace tandrel::headless
