#pragma once

#include "Foundation/Handle.h"

#include <functional>
#include <string>

namespace tandrel {

/// The system's own way to install a package, which asks the user for what it needs. Main thread.
class PackageInstaller {
public:
    PackageInstaller() = default;
    PackageInstaller(const PackageInstaller&) = delete;
    PackageInstaller& operator=(const PackageInstaller&) = delete;
    virtual ~PackageInstaller() = default;

    /// Hands over the package at `path`; `done` is told, once and later, whether something took it.
    /// Destroying the handle silences `done` and recalls nothing.
    [[nodiscard]] virtual Handle install(const std::string& path,
                                         std::function<void(bool isTaken)> done) = 0;
};

} // namespace tandrel
