#pragma once

#include <string>
#include <string_view>
#include <tuple>

namespace tandrel {

enum class CredentialStatus {
    success,
    itemNotFound,
    duplicateItem,
    /// Locked, access denied, prompt dismissed, no answer.
    unavailable,
    /// There is no store.
    noStore,
};

/// Whether what a store holds can be known.
enum class CredentialAccess {
    /// What was not found is not there.
    readable,
    /// There may be items that cannot be read now: locked, prompt dismissed, no answer.
    unreadable,
    /// There is no store, which may come yet.
    noStore,
};

/// Whether there is a store that keeps credentials beyond this run.
enum class CredentialKeeping { unknown, kept, notKept };

/// What an item is stored under.
struct CredentialKey {
    std::string service;
    std::string account;

    friend bool operator<(const CredentialKey& left, const CredentialKey& right) {
        return std::tie(left.service, left.account) < std::tie(right.service, right.account);
    }
};

/// Generic-password items keyed by (service, account); values are byte strings. At most one item
/// exists per key. Which thread may call, and whether a call can block, is the implementation's to
/// say: the one that services are given answers from memory.
class CredentialStore {
public:
    CredentialStore() = default;
    CredentialStore(const CredentialStore&) = delete;
    CredentialStore& operator=(const CredentialStore&) = delete;
    virtual ~CredentialStore() = default;

    /// Adds an item; `duplicateItem` when there is one already.
    virtual CredentialStatus add(std::string_view service, std::string_view account,
                                 std::string_view value) = 0;
    /// Reads an item into `value`, which is untouched unless the status is `success`.
    virtual CredentialStatus copyMatching(std::string_view service, std::string_view account,
                                          std::string& value) = 0;
    /// Deletes an item; `itemNotFound` when there is none.
    virtual CredentialStatus remove(std::string_view service, std::string_view account) = 0;
};

} // namespace tandrel
