#pragma once

#include "Platform/PackageStore.h"

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tandrel::test {

/// Packages in memory. What is asked of a file waits until the test lets it happen.
class FakePackageStore : public PackageStore {
public:
    struct File {
        std::string version;
        std::string contents;
        std::optional<PackageProof> proof;
        /// Its owner has gone.
        bool isGivenUp = false;
    };

    [[nodiscard]] std::unique_ptr<PackageFile> create(const std::string& version) override;

    /// Every file so far, in order.
    [[nodiscard]] const std::vector<std::shared_ptr<File>>& files() const { return files_; }
    /// Carries out the oldest thing that waits; false when nothing does.
    bool proceed();

    /// What becomes of what is written, and of the check, from now on.
    WriteOutcome writeOutcome = WriteOutcome::written;
    PackageVerdict verdict = PackageVerdict::genuine;
    static constexpr const char* path = "/cache/package.deb";

private:
    class Entry;
    std::vector<std::shared_ptr<File>> files_;
    std::shared_ptr<std::deque<std::function<void()>>> waiting_ =
        std::make_shared<std::deque<std::function<void()>>>();
};

} // namespace tandrel::test
