#include "DevBackend/MessageLog.h"

#include <array>
#include <cerrno>
#include <cinttypes>
#include <ctime>
#include <system_error>

namespace devbackend {

namespace {

constexpr const char* csvHeader = "index,connection,bytes,monotonic_ns,fnv1a64\n";

std::string csvLine(const MessageRecord& record) {
    std::array<char, 128> line{};
    const int length = std::snprintf(
        line.data(), line.size(), "%" PRIu64 ",%" PRIu32 ",%zu,%" PRId64 ",%016" PRIx64 "\n",
        record.index, record.connection, record.bytes, record.arrivalNanoseconds, record.hash);
    return {line.data(), static_cast<std::size_t>(length)};
}

} // namespace

std::uint64_t fnv1a(std::span<const std::uint8_t> bytes) {
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (const std::uint8_t byte : bytes) {
        hash = (hash ^ byte) * 0x100000001b3U;
    }
    return hash;
}

std::int64_t monotonicNanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

MessageLog::MessageLog(const std::filesystem::path& path)
    : file_(std::fopen(path.c_str(), "w")) {
    if (!file_) {
        throw std::system_error(errno, std::generic_category(), path.string());
    }
    std::fputs(csvHeader, file_.get());
}

void MessageLog::add(std::uint32_t connection, std::span<const std::uint8_t> payload,
                     std::int64_t arrivalNanoseconds) {
    const MessageRecord record{.index = records_.size(),
                               .connection = connection,
                               .bytes = payload.size(),
                               .arrivalNanoseconds = arrivalNanoseconds,
                               .hash = fnv1a(payload)};
    records_.push_back(record);
    std::fputs(csvLine(record).c_str(), file_.get());
}

void MessageLog::sync() {
    std::fflush(file_.get());
}

std::string MessageLog::toCsv() const {
    std::string csv = csvHeader;
    for (const MessageRecord& record : records_) {
        csv += csvLine(record);
    }
    return csv;
}

} // namespace devbackend
