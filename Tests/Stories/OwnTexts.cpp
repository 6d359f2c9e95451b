#include "OwnTexts.h"

#include <algorithm>
#include <array>
#include <regex>
#include <string_view>

namespace tandrel::test {

namespace {

constexpr std::array fixedTexts = {
    "Invalid email or password",
    "Session expired. Please log in again.",
    "Session expired",
    "Failed to connect WebSocket",
    "Connection lost. Max reconnection attempts reached.",
    "Session token is invalid. Please start a new session.",
    "Session is no longer pending.",
    "Microphone permission denied. Grant access in System Settings → Privacy & Security → "
    "Microphone.",
    "Failed to start audio: Failed to select audio device",
    "Failed to start audio: Failed to create audio converter",
    "Microphone disconnected. Waiting for it to return…",
    "Microphone disconnected. Streaming stopped.",
    "Sound server not available. Waiting for it to return…",
    "Sound server not available. Streaming stopped.",
    "No sound from the microphone",
    "No sound from the microphone. Streaming stopped.",
    "Connection lost. Reconnecting…",
};

} // namespace

bool isOwnText(const std::string& text) {
    if (std::ranges::find(fixedTexts, text) != fixedTexts.end()) {
        return true;
    }
    const auto isAbout = [&text](std::string_view start, std::string_view cause) {
        return text.starts_with(start) && text.substr(start.size()) == cause;
    };
    if (isAbout("Network error: ", transportFailure) ||
        isAbout("Failed to start audio: ", engineFailure)) {
        return true;
    }
    // What is wrong with an answer is told without quoting it.
    static const std::regex variable(
        R"(HTTP error \d{3}|Failed to parse response: The (answer is empty\.|answer is not valid JSON )"
        R"(\(at byte \d+\)\.|key "[A-Za-z.]+" is missing\.))");
    return std::regex_match(text, variable);
}

} // namespace tandrel::test
