#pragma once

#include "Platform/StreamSocket.h"

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace tandrel::headless {

/// Counts what is handed to the socket and, where a file is named, writes a line there for each
/// message. Holds none of them itself: a stream may last for days. Any thread.
class SendRecord {
public:
    /// Writes `index,connection,bytes,monotonic_ns,fnv1a64` lines under a heading to `path`: time
    /// is CLOCK_MONOTONIC, the hash FNV-1a (64 bits) of the payload; connections are counted
    /// from 1.
    explicit SendRecord(const std::optional<std::string>& path);

    void add(std::uint32_t connection, const Bytes& message);
    [[nodiscard]] std::size_t messageCount() const;
    [[nodiscard]] std::size_t byteCount() const;
    /// Ends the file; false when it does not hold all.
    [[nodiscard]] bool close();

private:
    mutable std::mutex mutex_;
    const bool isWritten_;
    std::ofstream file_;
    std::size_t messages_ = 0;
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
    std::uint32_t connections_ = 0;
};

} // namespace tandrel::headless
