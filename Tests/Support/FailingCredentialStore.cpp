#include "Support/FailingCredentialStore.h"

namespace tandrel::test {

std::optional<CredentialStatus> FailingCredentialStore::begin(Failure::Call call) {
    if (!failure_ || failure_->call != call || !nth_.fails()) {
        return std::nullopt;
    }
    if (!failure_->status) {
        failure_->gate->pass();
    }
    return failure_->status;
}

CredentialStatus FailingCredentialStore::add(std::string_view service, std::string_view account,
                                             std::string_view value) {
    const auto failed = begin(Failure::Call::add);
    return failed ? *failed : inner_.add(service, account, value);
}

CredentialStatus FailingCredentialStore::copyMatching(std::string_view service,
                                                      std::string_view account,
                                                      std::string& value) {
    const auto failed = begin(Failure::Call::read);
    return failed ? *failed : inner_.copyMatching(service, account, value);
}

CredentialStatus FailingCredentialStore::remove(std::string_view service,
                                                std::string_view account) {
    const auto failed = begin(Failure::Call::remove);
    return failed ? *failed : inner_.remove(service, account);
}

} // namespace tandrel::test
