#include "Platform/Qt/Departure.h"

#include "Platform/CachedCredentialStore.h"
#include "Platform/Qt/SettingsUserDefaults.h"
#include "Platform/WebSocket/QtStreamSocket.h"

#include <chrono>
#include <cstdio>

namespace tandrel {

namespace {

constexpr std::chrono::milliseconds storeFlushLimit(300);

} // namespace

void settleBeforeLeaving(QtStreamSocket& socket, SettingsUserDefaults* settings,
                         CachedCredentialStore& credentials) {
    if (!socket.drain()) {
        std::fprintf(stderr, "The connection did not close in time\n");
    }
    if (settings != nullptr) {
        settings->flush(storeFlushLimit);
    }
    credentials.flush(storeFlushLimit);
}

} // namespace tandrel
