#pragma once

#include "Platform/CredentialStore.h"
#include "Platform/UserDefaults.h"

#include <map>
#include <string>

namespace tandrel::headless {

/// A credential store that is never there: what the cache in front of it holds lives for this run.
class NoCredentialStore : public CredentialStore {
public:
    CredentialStatus add(std::string_view service, std::string_view account,
                         std::string_view value) override;
    CredentialStatus copyMatching(std::string_view service, std::string_view account,
                                  std::string& value) override;
    CredentialStatus remove(std::string_view service, std::string_view account) override;
};

/// Settings that live for this run.
class MemoryUserDefaults : public UserDefaults {
public:
    [[nodiscard]] std::optional<std::string> data(std::string_view key) const override;
    void setData(std::string_view key, std::string bytes) override;
    void remove(std::string_view key) override;

private:
    std::map<std::string, std::string, std::less<>> values_;
};

} // namespace tandrel::headless
