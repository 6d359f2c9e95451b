#include "Foundation/LogFile.h"

#include "Foundation/FileDescriptor.h"
#include "Foundation/Utf8.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <utility>

namespace tandrel {

namespace {

// The last part of the path may not be a link: whoever could plant one would otherwise choose which
// of the user's files grows. Not blocking, lest a pipe in the file's place stops the program.
constexpr int commonFlags = O_WRONLY | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

void appendDigits(std::string& text, unsigned value, unsigned divisor) {
    for (; divisor > 0; divisor /= 10) {
        text += static_cast<char>('0' + value / divisor % 10);
    }
}

/// By hand: the library's formatting consults the locale and costs more than the write.
void appendTimestamp(std::string& line, std::chrono::system_clock::time_point time) {
    using namespace std::chrono;
    const auto day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(floor<seconds>(time) - day);
    appendDigits(line, static_cast<unsigned>(static_cast<int>(date.year())), 1000);
    line += '-';
    appendDigits(line, static_cast<unsigned>(date.month()), 10);
    line += '-';
    appendDigits(line, static_cast<unsigned>(date.day()), 10);
    line += 'T';
    appendDigits(line, static_cast<unsigned>(clock.hours().count()), 10);
    line += ':';
    appendDigits(line, static_cast<unsigned>(clock.minutes().count()), 10);
    line += ':';
    appendDigits(line, static_cast<unsigned>(clock.seconds().count()), 10);
    line += 'Z';
}

bool isRegularFile(int descriptor) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

} // namespace

std::optional<std::string> formatLogLine(std::chrono::system_clock::time_point time,
                                         std::string_view message) {
    if (!isValidUtf8(message)) {
        return std::nullopt;
    }
    static constexpr std::size_t timestampSpaceAndLineFeed = 22;
    std::string line;
    line.reserve(timestampSpaceAndLineFeed + message.size());
    appendTimestamp(line, time);
    line += ' ';
    line += message;
    line += '\n';
    return line;
}

LogFile::LogFile(std::string path)
    : path_(std::move(path)) {}

void LogFile::createIfMissing() const {
    const FileDescriptor file(::open(path_.c_str(), commonFlags | O_CREAT | O_EXCL, 0600));
}

void LogFile::write(std::string_view message) {
    auto line = formatLogLine(std::chrono::system_clock::now(), message);
    if (!line) {
        return;
    }
    std::call_once(created_, [this] { createIfMissing(); });
    const FileDescriptor file(::open(path_.c_str(), commonFlags));
    if (!file || !isRegularFile(file.get())) {
        return;
    }
    // A line that a full disk cuts short is not completed: a second write could land after another
    // writer's line. The next one begins a line of its own.
    const bool wasCutShort = isCutShort_.exchange(false);
    if (wasCutShort) {
        line->insert(0, 1, '\n');
    }
    const std::string_view bytes = *line;
    ssize_t written = 0;
    do {
        written = ::write(file.get(), bytes.data(), bytes.size());
    } while (written < 0 && errno == EINTR);
    const bool isCutShort =
        written > 0 ? static_cast<std::size_t>(written) < bytes.size() : wasCutShort;
    if (isCutShort) {
        isCutShort_ = true;
    }
}

} // namespace tandrel
