#pragma once

#include <string>

namespace tandrel {

class Clock;
class UpdaterController;
class UrlOpener;

/// What the content's library needs to make the updater.
struct UpdaterRequest {
    /// Empty: the system's package manager keeps the program current.
    std::string feedURL;
    /// 32 bytes in base 64.
    std::string publicKey;
    std::string installedVersion;
    // Both outlive the updater.
    Clock& clock;
    UrlOpener& urlOpener;
};

/// The library's entry for it, under the name below.
using MakeUpdater = UpdaterController* (*)(const UpdaterRequest& request);
inline constexpr const char* makeUpdaterName = "tandrelMakeUpdater";

} // namespace tandrel
