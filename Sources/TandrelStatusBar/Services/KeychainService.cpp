#include "Services/KeychainService.h"

#include "Foundation/Utf8.h"

namespace tandrel {

std::string_view KeychainService::account(Key key) {
    switch (key) {
    case Key::accessToken:
        return "quorvane-access-token";
    case Key::refreshToken:
        return "quorvane-refresh-token";
    case Key::userId:
        return "quorvane-user-id";
    }
    return {};
}

std::vector<CredentialKey> KeychainService::items() {
    std::vector<CredentialKey> items;
    for (const Key key : allKeys) {
        items.push_back({std::string(service), std::string(account(key))});
    }
    return items;
}

KeychainService::KeychainService(CredentialStore& store)
    : store_(store) {}

bool KeychainService::save(std::string_view value, Key key) {
    if (!isValidUtf8(value)) {
        return false;
    }
    remove(key);
    return store_.add(service, account(key), value) == CredentialStatus::success;
}

std::optional<std::string> KeychainService::retrieve(Key key) const {
    std::string value;
    if (store_.copyMatching(service, account(key), value) != CredentialStatus::success ||
        !isValidUtf8(value)) {
        return std::nullopt;
    }
    return value;
}

bool KeychainService::remove(Key key) {
    const CredentialStatus status = store_.remove(service, account(key));
    return status == CredentialStatus::success || status == CredentialStatus::itemNotFound;
}

} // namespace tandrel
