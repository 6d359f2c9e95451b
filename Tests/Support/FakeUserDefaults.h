#pragma once

#include "Platform/UserDefaults.h"

#include <cstddef>
#include <functional>
#include <map>
#include <string>

namespace tandrel::test {

/// Settings in memory, with counts of what was done to them.
class FakeUserDefaults : public UserDefaults {
public:
    [[nodiscard]] std::optional<std::string> data(std::string_view key) const override;
    void setData(std::string_view key, std::string bytes) override;
    void remove(std::string_view key) override;

    /// Writes are ignored from now on, as when the disk refuses them; reads go on.
    void setReadOnly(bool readOnly) { readOnly_ = readOnly; }

    [[nodiscard]] std::size_t size() const { return values_.size(); }
    [[nodiscard]] int readCount() const { return reads_; }
    [[nodiscard]] int setCount() const { return sets_; }
    [[nodiscard]] int removeCount() const { return removes_; }

private:
    std::map<std::string, std::string, std::less<>> values_;
    mutable int reads_ = 0;
    int sets_ = 0;
    int removes_ = 0;
    bool readOnly_ = false;
};

} // namespace tandrel::test
