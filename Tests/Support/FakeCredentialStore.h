#pragma once

#include "Platform/CredentialStore.h"

#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tandrel::test {

/// A credential store in memory, with the platform's rules (a second `add` of a key is refused). It
/// records its operations and fails on request. Any thread.
class FakeCredentialStore : public CredentialStore {
public:
    CredentialStatus add(std::string_view service, std::string_view account,
                         std::string_view value) override;
    CredentialStatus copyMatching(std::string_view service, std::string_view account,
                                  std::string& value) override;
    CredentialStatus remove(std::string_view service, std::string_view account) override;

    /// From now on every operation answers `unavailable` and changes nothing, or works again.
    void setAvailable(bool available);
    /// Lets `count` more operations through; from then on they answer `failure`.
    void failAfter(std::size_t count, CredentialStatus failure = CredentialStatus::unavailable);

    /// Puts an item there, past all counting and failing.
    void put(std::string_view service, std::string_view account, std::string_view value);
    /// Looks at an item, past all counting and failing.
    [[nodiscard]] std::optional<std::string> item(std::string_view service,
                                                  std::string_view account) const;
    [[nodiscard]] std::size_t itemCount() const;

    /// The operations so far: "add ACCOUNT", "read ACCOUNT", "remove ACCOUNT"; failed ones too.
    [[nodiscard]] std::vector<std::string> operations() const;
    [[nodiscard]] std::size_t operationCount() const { return operations().size(); }
    void forgetOperations();

private:
    using ItemKey = std::pair<std::string, std::string>;
    /// Records an operation; false when it is to fail.
    bool begin(std::string_view operation, std::string_view account);

    mutable std::mutex mutex_;
    std::map<ItemKey, std::string> items_;
    std::vector<std::string> operations_;
    std::optional<std::size_t> allowed_;
    CredentialStatus failure_ = CredentialStatus::unavailable;
};

} // namespace tandrel::test
