#include "ConsoleInput.h"

#include <array>
#include <cerrno>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace tandrel::headless {

namespace {

constexpr std::size_t longestLine = 4096;

} // namespace

ConsoleInput::ConsoleInput(LineHandler handler)
    : handler_(std::move(handler))
    , notifier_(STDIN_FILENO, QSocketNotifier::Read) {
    QObject::connect(&notifier_, &QSocketNotifier::activated, &notifier_,
                     [this] { readAvailable(); });
}

void ConsoleInput::setEcho(bool on) {
    termios settings{};
    if (tcgetattr(STDIN_FILENO, &settings) != 0) {
        return;
    }
    if (on) {
        settings.c_lflag |= static_cast<tcflag_t>(ECHO);
    } else {
        settings.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    }
    tcsetattr(STDIN_FILENO, TCSANOW, &settings);
}

void ConsoleInput::readAvailable() {
    std::array<char, longestLine> buffer{};
    const auto count = read(STDIN_FILENO, buffer.data(), buffer.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
        return;
    }
    if (count <= 0) {
        notifier_.setEnabled(false);
        if (!pending_.empty()) {
            handler_(std::exchange(pending_, {}));
        }
        return;
    }
    pending_.append(buffer.data(), static_cast<std::size_t>(count));
    for (;;) {
        const auto end = pending_.find('\n');
        if (end == std::string::npos && pending_.size() < longestLine) {
            return;
        }
        const std::string line = pending_.substr(0, std::min(end, longestLine));
        pending_.erase(0, end == std::string::npos ? line.size() : end + 1);
        handler_(line);
    }
}

} // namespace tandrel::headless
