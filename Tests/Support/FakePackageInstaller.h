#pragma once

#include "Platform/PackageInstaller.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace tandrel::test {

/// An installer that only takes notes, and answers when the test says so.
class FakePackageInstaller : public PackageInstaller {
public:
    [[nodiscard]] Handle install(const std::string& path,
                                 std::function<void(bool isTaken)> done) override {
        paths.push_back(path);
        answer = std::move(done);
        return std::make_unique<Operation>();
    }

    /// Every package, in order.
    std::vector<std::string> paths;
    /// Of the last one.
    std::function<void(bool isTaken)> answer;
};

} // namespace tandrel::test
