#include "MemoryStores.h"

#include <utility>

namespace tandrel::headless {

CredentialStatus NoCredentialStore::add(std::string_view /*service*/, std::string_view /*account*/,
                                        std::string_view /*value*/) {
    return CredentialStatus::unavailable;
}

CredentialStatus NoCredentialStore::copyMatching(std::string_view /*service*/,
                                                 std::string_view /*account*/,
                                                 std::string& /*value*/) {
    return CredentialStatus::unavailable;
}

CredentialStatus NoCredentialStore::remove(std::string_view /*service*/,
                                           std::string_view /*account*/) {
    return CredentialStatus::unavailable;
}

std::optional<std::string> MemoryUserDefaults::data(std::string_view key) const {
    const auto found = values_.find(key);
    return found == values_.end() ? std::nullopt : std::optional(found->second);
}

void MemoryUserDefaults::setData(std::string_view key, std::string bytes) {
    values_.insert_or_assign(std::string(key), std::move(bytes));
}

void MemoryUserDefaults::remove(std::string_view key) {
    const auto found = values_.find(key);
    if (found != values_.end()) {
        values_.erase(found);
    }
}

} // namespace tandrel::headless
