#pragma once

#include "Services/APIClient.h"
#include "Services/KeychainService.h"
#include "Support/FakeCredentialStore.h"
#include "Support/FakeHttpTransport.h"
#include "Support/FakeStreamSocket.h"
#include "Support/FakeUserDefaults.h"
#include "Support/ManualClock.h"

#include <string>
#include <utility>

namespace tandrel::test {

/// Everything that the services meet of the outside but sound: a backend that answers when the test
/// says so, stores in memory, virtual time.
struct TestBackend {
    explicit TestBackend(std::string baseURL = "https://api.test")
        : apiClient(std::move(baseURL), transport, keychain, clock) {}

    void storeAccessToken(const std::string& token = "access") {
        keychain.save(token, KeychainService::Key::accessToken);
    }

    ManualClock clock;
    FakeCredentialStore credentials;
    KeychainService keychain{credentials};
    FakeUserDefaults userDefaults;
    FakeHttpTransport transport;
    FakeStreamSocket streamSocket;
    APIClient apiClient;
};

} // namespace tandrel::test
