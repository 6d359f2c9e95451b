#pragma once

#include "Support/ChildProcess.h"

#include <filesystem>
#include <memory>
#include <string>

namespace tandrel::test {

/// An X server of the test's own with a screen that nobody sees (Xvfb), on a display number that it
/// chose itself.
class VirtualDisplay {
public:
    static constexpr int width = 1280;
    static constexpr int height = 800;

    /// Starts it; its files go to `folder`, which exists. Throws std::runtime_error when it does
    /// not take connections within 10 s.
    explicit VirtualDisplay(std::filesystem::path folder);

    /// For DISPLAY.
    [[nodiscard]] const std::string& name() const { return name_; }
    /// The variables that lead a program to this display and to no other.
    [[nodiscard]] EnvironmentChanges clientEnvironment() const;

    /// Saves the whole screen as a PNG file; whether that worked.
    bool saveScreenshot(const std::filesystem::path& file) const;
    /// Waits until a window of that title shows; whether one does within 10 s.
    [[nodiscard]] bool awaitWindow(const std::string& title) const;
    /// Whether a program owns the selection `name`.
    [[nodiscard]] bool hasSelectionOwner(const std::string& name) const;
    /// Whether the root window has the property `name`.
    [[nodiscard]] bool hasRootProperty(const std::string& name) const;

private:
    std::filesystem::path folder_;
    std::unique_ptr<ChildProcess> server_;
    std::string name_;
};

} // namespace tandrel::test
