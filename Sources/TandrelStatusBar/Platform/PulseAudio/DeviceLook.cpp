#include "Platform/PulseAudio/DeviceLook.h"

#include <chrono>
#include <utility>

namespace tandrel::pulse {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds longestConnect{1};
constexpr std::chrono::milliseconds longestQuery{500};

} // namespace

DeviceLook::DeviceLook(std::string uid)
    : uid_(std::move(uid)) {}

bool DeviceLook::isThere() {
    const auto connection = server_.connection(steady_clock::now() + longestConnect);
    if (!connection) {
        return false;
    }
    const auto source = connection.value()->source(uid_, steady_clock::now() + longestQuery);
    if (!source) {
        if (source.error().code != PA_ERR_NOENTITY) {
            server_.giveUp(connection.value());
        }
        return false;
    }
    return !source.value().isMonitor;
}

} // namespace tandrel::pulse
