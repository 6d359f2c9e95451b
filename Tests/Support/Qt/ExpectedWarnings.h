#pragma once

#include <string>

namespace tandrel::test {

/// Makes every message that Qt prints at the level of a warning or above a failure of the running
/// test, unless the test expects it.
void failOnUnexpectedWarnings();

/// For the life of this object, messages that contain `part` pass.
class ExpectedWarning {
public:
    explicit ExpectedWarning(std::string part);
    ~ExpectedWarning();
    ExpectedWarning(const ExpectedWarning&) = delete;
    ExpectedWarning& operator=(const ExpectedWarning&) = delete;

private:
    std::string part_;
};

} // namespace tandrel::test
