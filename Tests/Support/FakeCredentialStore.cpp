#include "Support/FakeCredentialStore.h"

namespace tandrel::test {

bool FakeCredentialStore::begin(std::string_view operation, std::string_view account) {
    operations_.push_back(std::string(operation) + ' ' + std::string(account));
    if (!allowed_) {
        return true;
    }
    if (*allowed_ == 0) {
        return false;
    }
    --*allowed_;
    return true;
}

CredentialStatus FakeCredentialStore::add(std::string_view service, std::string_view account,
                                          std::string_view value) {
    const std::lock_guard lock(mutex_);
    if (!begin("add", account)) {
        return failure_;
    }
    const bool added = items_.emplace(ItemKey(service, account), value).second;
    return added ? CredentialStatus::success : CredentialStatus::duplicateItem;
}

CredentialStatus FakeCredentialStore::copyMatching(std::string_view service,
                                                   std::string_view account, std::string& value) {
    const std::lock_guard lock(mutex_);
    if (!begin("read", account)) {
        return failure_;
    }
    const auto found = items_.find(ItemKey(service, account));
    if (found == items_.end()) {
        return CredentialStatus::itemNotFound;
    }
    value = found->second;
    return CredentialStatus::success;
}

CredentialStatus FakeCredentialStore::remove(std::string_view service, std::string_view account) {
    const std::lock_guard lock(mutex_);
    if (!begin("remove", account)) {
        return failure_;
    }
    const bool removed = items_.erase(ItemKey(service, account)) > 0;
    return removed ? CredentialStatus::success : CredentialStatus::itemNotFound;
}

void FakeCredentialStore::setAvailable(bool available) {
    const std::lock_guard lock(mutex_);
    allowed_ = available ? std::nullopt : std::optional<std::size_t>(0);
    failure_ = CredentialStatus::unavailable;
}

void FakeCredentialStore::failAfter(std::size_t count, CredentialStatus failure) {
    const std::lock_guard lock(mutex_);
    allowed_ = count;
    failure_ = failure;
}

void FakeCredentialStore::put(std::string_view service, std::string_view account,
                              std::string_view value) {
    const std::lock_guard lock(mutex_);
    items_.insert_or_assign(ItemKey(service, account), std::string(value));
}

std::optional<std::string> FakeCredentialStore::item(std::string_view service,
                                                     std::string_view account) const {
    const std::lock_guard lock(mutex_);
    const auto found = items_.find(ItemKey(service, account));
    return found == items_.end() ? std::nullopt : std::optional(found->second);
}

std::size_t FakeCredentialStore::itemCount() const {
    const std::lock_guard lock(mutex_);
    return items_.size();
}

std::vector<std::string> FakeCredentialStore::operations() const {
    const std::lock_guard lock(mutex_);
    return operations_;
}

void FakeCredentialStore::forgetOperations() {
    const std::lock_guard lock(mutex_);
    operations_.clear();
}

} // namespace tandrel::test
