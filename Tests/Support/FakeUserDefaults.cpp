#include "Support/FakeUserDefaults.h"

#include <utility>

namespace tandrel::test {

std::optional<std::string> FakeUserDefaults::data(std::string_view key) const {
    ++reads_;
    const auto found = values_.find(key);
    return found == values_.end() ? std::nullopt : std::optional(found->second);
}

void FakeUserDefaults::setData(std::string_view key, std::string bytes) {
    ++sets_;
    if (!readOnly_) {
        values_.insert_or_assign(std::string(key), std::move(bytes));
    }
}

void FakeUserDefaults::remove(std::string_view key) {
    ++removes_;
    if (readOnly_) {
        return;
    }
    if (const auto found = values_.find(key); found != values_.end()) {
        values_.erase(found);
    }
}

} // namespace tandrel::test
