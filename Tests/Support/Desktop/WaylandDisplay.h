#pragma once

#include "Support/ChildProcess.h"

#include <filesystem>

namespace tandrel::test {

/// A Wayland compositor of the test's own with a screen that nobody sees, and neither keyboard nor
/// pointer (Weston's headless backend).
class WaylandDisplay {
public:
    /// Starts it; its files go to `folder`, which exists and has a short path. Throws
    /// std::runtime_error when it does not take connections within 10 s.
    explicit WaylandDisplay(std::filesystem::path folder);

    /// The variables that lead a program to this display and to no other.
    [[nodiscard]] EnvironmentChanges clientEnvironment() const;

    /// Saves the whole screen as a PNG file; whether that worked.
    bool saveScreenshot(const std::filesystem::path& file) const;

private:
    std::filesystem::path folder_;
    ChildProcess compositor_;
};

} // namespace tandrel::test
