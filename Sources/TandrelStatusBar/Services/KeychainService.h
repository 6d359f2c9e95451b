#pragma once

#include "Platform/CredentialStore.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tandrel {

/// The three secrets of a signed-in user, kept in a credential store. Main thread; never waits (the
/// store that it is given answers from memory).
class KeychainService {
public:
    enum class Key { accessToken, refreshToken, userId };
    static constexpr Key allKeys[] = {Key::accessToken, Key::refreshToken, Key::userId};
    static constexpr std::string_view service = "TandrelStatusBar";

    /// The account name that a key is stored under.
    [[nodiscard]] static std::string_view account(Key key);
    /// What all keys are stored under.
    [[nodiscard]] static std::vector<CredentialKey> items();

    /// The store must outlive this object.
    explicit KeychainService(CredentialStore& store);

    /// Replaces the item of `key`: deletes, then adds. True when the item was added; false without
    /// touching the store when `value` is not UTF-8.
    bool save(std::string_view value, Key key);
    /// The stored value; absent when there is none, the store is unavailable, or the bytes are not
    /// UTF-8.
    [[nodiscard]] std::optional<std::string> retrieve(Key key) const;
    /// True when the item is gone, also when there was none.
    bool remove(Key key);

private:
    CredentialStore& store_;
};

} // namespace tandrel
