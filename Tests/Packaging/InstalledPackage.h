#pragma once

#include "Support/ChildProcess.h"

#include <filesystem>
#include <string>
#include <vector>

namespace tandrel::test {

/// The package of this build, unpacked into a folder of the test's own, where a desktop finds it as
/// it finds what is installed. The path of the package is in TANDREL_TEST_PACKAGE.
class InstalledPackage {
public:
    /// Unpacks it into `folder`, and does what the system's triggers do after an installation.
    /// Throws std::runtime_error when that fails.
    explicit InstalledPackage(std::filesystem::path folder);

    /// The variables by which a desktop finds what is installed, and nothing else.
    [[nodiscard]] EnvironmentChanges environment() const;
    /// Where a session bus finds the service. Its program is the unpacked one.
    [[nodiscard]] std::filesystem::path services() const { return folder_ / "services"; }
    /// The names of the desktop entry's actions.
    [[nodiscard]] std::vector<std::string> actions() const;

private:
    void unpack() const;
    void writeService() const;

    std::filesystem::path folder_;
};

} // namespace tandrel::test
