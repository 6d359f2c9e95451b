#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tandrel {

/// What a look at the user's keyring came to.
struct KeyringLook {
    enum class State {
        /// No session bus, no Secret Service on it, or one that does not answer.
        unreachable,
        /// There is a service, but no keyring to keep new items in.
        missing,
        locked,
        unlocked,
    };
    State state = State::unreachable;
    /// Whether the item is there, be it locked.
    bool hasItem = false;
    /// The item's value, when it can be read without asking the user.
    std::optional<std::string> value;
};

/// Looks for one item, under the attributes that `SecretServiceStore` uses, without ever causing a
/// prompt or changing anything. Not on the main thread: may take 25 s when the service does not
/// answer.
[[nodiscard]] KeyringLook lookIntoKeyring(std::string_view service, std::string_view account);

} // namespace tandrel
