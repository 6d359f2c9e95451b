#include "DevBackend/SessionRecording.h"

namespace devbackend {

SessionRecording::SessionRecording(const std::filesystem::path& folder, const std::string& name)
    : wavPath_(folder / (name + ".wav"))
    , logPath_(folder / (name + ".messages.csv"))
    , wav_(wavPath_)
    , log_(logPath_) {}

void SessionRecording::add(std::uint32_t connection, std::span<const std::uint8_t> message,
                           std::int64_t arrivalNanoseconds) {
    wav_.append(message);
    log_.add(connection, message, arrivalNanoseconds);
    statistics_.add(message, arrivalNanoseconds);
}

void SessionRecording::sync() {
    wav_.sync();
    log_.sync();
}

} // namespace devbackend
