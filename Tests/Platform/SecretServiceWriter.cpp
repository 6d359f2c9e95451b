#include "Platform/SecretService/SecretServiceStore.h"
#include "Services/KeychainService.h"

#include <cstdio>
#include <string>

/// Saves the access token a number of times, as a second program of the same user does.
int main(int argc, char** argv) {
    if (argc != 3) {
        std::fputs("usage: SecretServiceWriter VALUE COUNT\n", stderr);
        return 2;
    }
    tandrel::SecretServiceStore store;
    tandrel::KeychainService keychain(store);
    for (int count = std::stoi(argv[2]); count > 0; --count) {
        keychain.save(argv[1], tandrel::KeychainService::Key::accessToken);
    }
    return 0;
}
