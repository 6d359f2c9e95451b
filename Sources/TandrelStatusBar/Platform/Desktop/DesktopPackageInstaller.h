#pragma once

#include "Platform/PackageInstaller.h"

namespace tandrel {

/// Opens packages with the desktop's own opener, which knows the program that installs them. A
/// program of its own, as for pages: nothing here waits for it.
class DesktopPackageInstaller : public PackageInstaller {
public:
    [[nodiscard]] Handle install(const std::string& path,
                                 std::function<void(bool isTaken)> done) override;
};

} // namespace tandrel
