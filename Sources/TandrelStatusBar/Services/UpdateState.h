#pragma once

#include "Models/Appcast.h"

#include <cstdint>
#include <optional>
#include <string>

namespace tandrel {

/// Why a check or an installation came to nothing.
struct UpdateFailure {
    enum class Kind {
        /// The server could not be reached; `detail` is the reason, a sentence.
        unreachable,
        /// It answered with another status than success: `detail`.
        refusedByServer,
        /// It redirects to a place that is not secure.
        insecureRedirect,
        /// The feed cannot be read; `detail` is the reason.
        malformedFeed,
        /// The feed's package, or its page, lies where it may not be fetched from.
        insecureAddress,
        notSigned,
        wronglySigned,
        unverifiable,
        wrongLength,
        diskFull,
        notStored,
        /// Nothing took the package; `detail` is its path.
        noInstaller,
    };

    Kind kind = Kind::unreachable;
    std::string detail;

    friend bool operator==(const UpdateFailure&, const UpdateFailure&) = default;
};

/// Where the program stands with its updates.
struct UpdateState {
    enum class Kind {
        /// Nothing was asked yet.
        idle,
        /// There is no feed: the system's package manager keeps the program current.
        packageManaged,
        checking,
        upToDate,
        /// `item` is the newest that the feed has, and older than what is installed.
        onlyOlder,
        /// `item` needs a newer system.
        systemTooOld,
        /// `item` can be installed.
        available,
        /// `item` is on its way; `received` bytes are here.
        downloading,
        verifying,
        /// The system's installer is being called.
        handingOver,
        /// It has the package.
        handedOver,
        /// `failure` says why; with an `item` it was its installation that failed.
        failed,
    };

    Kind kind = Kind::idle;
    std::optional<AppcastItem> item;
    std::uint64_t received = 0;
    std::optional<UpdateFailure> failure;

    /// Whether something is under way that a second request has to wait for.
    [[nodiscard]] bool isBusy() const {
        return kind == Kind::checking || kind == Kind::downloading || kind == Kind::verifying ||
               kind == Kind::handingOver;
    }

    friend bool operator==(const UpdateState&, const UpdateState&) = default;
};

} // namespace tandrel
