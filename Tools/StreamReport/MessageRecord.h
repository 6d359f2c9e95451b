#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// One message as one side saw it.
struct MessageRecord {
    std::uint64_t bytes = 0;
    /// CLOCK_MONOTONIC, the same for every process of one machine.
    std::int64_t nanoseconds = 0;
    /// Of the payload.
    std::uint64_t hash = 0;
    /// Which one carried it, as this side counts them from 1; 0 where the record does not say.
    std::uint32_t connection = 0;
};

/// Reads the comma-separated record that the client or the development backend wrote; columns are
/// found by their headings. Throws `std::runtime_error` with a text for people.
std::vector<MessageRecord> readMessages(const std::string& path);
