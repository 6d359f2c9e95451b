#pragma once

#include "Platform/CredentialStore.h"

#include <memory>

namespace tandrel {

/// The user's keyring, through the Secret Service of the session bus. Items carry the attributes
/// `service` and `account`; secrets cross the bus encrypted.
///
/// One thread at a time, never the main one: a call takes up to 25 s when the service does not
/// answer, and for as long as the user looks at a prompt when the keyring is locked. With no bus or
/// no service the answer is `noStore`, with a keyring that stays locked or any other failure
/// `unavailable`; the next call tries anew.
class SecretServiceStore : public CredentialStore {
public:
    SecretServiceStore();
    ~SecretServiceStore() override;

    CredentialStatus add(std::string_view service, std::string_view account,
                         std::string_view value) override;
    CredentialStatus copyMatching(std::string_view service, std::string_view account,
                                  std::string& value) override;
    CredentialStatus remove(std::string_view service, std::string_view account) override;

private:
    class Keyring;
    std::unique_ptr<Keyring> keyring_;
};

} // namespace tandrel
