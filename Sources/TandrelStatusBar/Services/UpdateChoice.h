#pragma once

#include "Models/Appcast.h"

#include <optional>
#include <string>

namespace tandrel {

/// What a feed has for this installation.
struct UpdateChoice {
    enum class Kind {
        /// `item` is newer, and runs here.
        available,
        /// What is installed is the newest, or the feed is empty.
        upToDate,
        /// All that is newer, of which `item` is the newest, needs a newer system.
        systemTooOld,
        /// The newest, `item`, is older than what is installed.
        onlyOlder,
    };

    Kind kind = Kind::upToDate;
    std::optional<AppcastItem> item;

    friend bool operator==(const UpdateChoice&, const UpdateChoice&) = default;
};

/// The newest item that runs on `systemVersion`, weighed against the version that is installed. An
/// empty `systemVersion` is one that is not known, and keeps nothing back. Any thread.
[[nodiscard]] UpdateChoice chooseUpdate(const Appcast& appcast, const std::string& installedVersion,
                                        const std::string& systemVersion);

} // namespace tandrel
