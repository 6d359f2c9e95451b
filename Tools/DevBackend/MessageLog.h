#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace devbackend {

/// How one binary message arrived.
struct MessageRecord {
    /// Counted from 0 over the whole session, also across reconnections.
    std::uint64_t index = 0;
    /// Counted from 1: which connection of the session carried it.
    std::uint32_t connection = 0;
    std::size_t bytes = 0;
    /// CLOCK_MONOTONIC, as any process on this machine reads it.
    std::int64_t arrivalNanoseconds = 0;
    /// `fnv1a` of the payload.
    std::uint64_t hash = 0;
};

/// FNV-1a, 64 bits (Fowler, Noll, Vo; draft-eastlake-fnv).
[[nodiscard]] std::uint64_t fnv1a(std::span<const std::uint8_t> bytes);

/// CLOCK_MONOTONIC in nanoseconds.
[[nodiscard]] std::int64_t monotonicNanoseconds();

/// The record of a session's messages, kept in memory and written to a CSV file, so that it can be
/// compared with what a client says it sent.
class MessageLog {
public:
    /// Creates or replaces the file. Throws std::system_error when that fails.
    explicit MessageLog(const std::filesystem::path& path);

    void add(std::uint32_t connection, std::span<const std::uint8_t> payload,
             std::int64_t arrivalNanoseconds);
    void sync();

    [[nodiscard]] const std::vector<MessageRecord>& records() const { return records_; }
    /// The whole record, header line first: `index,connection,bytes,monotonic_ns,fnv1a64`.
    [[nodiscard]] std::string toCsv() const;

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    std::unique_ptr<std::FILE, Closer> file_;
    std::vector<MessageRecord> records_;
};

} // namespace devbackend
