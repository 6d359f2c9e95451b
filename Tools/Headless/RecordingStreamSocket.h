#pragma once

#include "Platform/StreamSocket.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace tandrel::headless {

/// One audio message at the moment it was handed to the socket.
struct SentMessage {
    std::size_t bytes = 0;
    /// CLOCK_MONOTONIC.
    std::int64_t nanoseconds = 0;
    /// FNV-1a, 64 bits, of the payload.
    std::uint64_t hash = 0;
};

/// What was handed to the socket. Any thread.
class SendRecord {
public:
    void add(const Bytes& message);
    [[nodiscard]] std::size_t messageCount() const;
    [[nodiscard]] std::size_t byteCount() const;
    /// Writes `index,bytes,monotonic_ns,fnv1a64` lines under a heading; false when it cannot.
    [[nodiscard]] bool writeCsv(const std::string& path) const;

private:
    mutable std::mutex mutex_;
    std::vector<SentMessage> messages_;
    std::size_t bytes_ = 0;
};

/// Passes everything through to another stream socket and notes each message that is sent, so that
/// the far end's record can be compared: what was lost, what came out of order, how long it took.
class RecordingStreamSocket : public StreamSocket {
public:
    /// `inner` must outlive this object.
    RecordingStreamSocket(StreamSocket& inner, std::shared_ptr<SendRecord> record);

    [[nodiscard]] std::shared_ptr<StreamSocketTask> webSocketTask(const std::string& url) override;

private:
    StreamSocket& inner_;
    std::shared_ptr<SendRecord> record_;
};

} // namespace tandrel::headless
