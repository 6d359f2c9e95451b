#include "Support/LogCapture.h"

#include "DebugLog.h"
#include "Support/FileText.h"

#include <algorithm>
#include <sstream>

namespace tandrel::test {

namespace {

std::string logText() {
    return textOf(DebugLog::path());
}

} // namespace

LogCapture::LogCapture()
    : start_(logText().size()) {}

std::vector<std::string> LogCapture::lines() const {
    std::istringstream text(logText().substr(start_));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        // "2026-11-15T21:55:03Z " comes before each message.
        static constexpr std::size_t timestampLength = 21;
        lines.push_back(line.size() >= timestampLength ? line.substr(timestampLength) : line);
    }
    return lines;
}

std::size_t LogCapture::count(const std::string& line) const {
    const auto all = lines();
    return static_cast<std::size_t>(std::count(all.begin(), all.end(), line));
}

std::vector<std::string> LogCapture::linesStartingWith(const std::string& prefix) const {
    auto all = lines();
    std::erase_if(all, [&prefix](const std::string& line) { return !line.starts_with(prefix); });
    return all;
}

} // namespace tandrel::test
