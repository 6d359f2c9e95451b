#include "EndToEnd/SetClock.h"

#include <cstdint>
#include <ctime>
#include <fstream>
#include <utility>

namespace tandrel::test {

SetClock::SetClock(std::filesystem::path file)
    : file_(std::move(file)) {
    std::ofstream(file_).flush();
    set(ahead_);
}

void SetClock::set(std::chrono::seconds ahead) {
    ahead_ = ahead;
    const std::int64_t count = ahead.count();
    // In place: the app looks at this very file.
    std::fstream file(file_, std::ios::in | std::ios::out | std::ios::binary);
    file.write(reinterpret_cast<const char*>(&count), sizeof count);
}

std::string SetClock::day() const {
    const auto shown = std::chrono::system_clock::now() + ahead_;
    const auto now = std::chrono::system_clock::to_time_t(shown);
    std::string text(11, '\0');
    text.resize(std::strftime(text.data(), text.size(), "%Y-%m-%d", std::gmtime(&now)));
    return text;
}

} // namespace tandrel::test
