#pragma once

#include "Support/ChildProcess.h"
#include "Support/Desktop/AccessibleElement.h"
#include "Support/Desktop/BusConnection.h"

#include <filesystem>
#include <string>

namespace tandrel::test {

class AccessibilityBus;

/// Assistive technology that waits for new names, as a screen reader does: programs tell of them
/// only while somebody listens.
class AccessibilityListener {
public:
    /// Keeps what it hears in `folder`, and listens once the constructor has returned.
    AccessibilityListener(const AccessibilityBus& bus, const std::filesystem::path& folder);

    /// Waits until a program has told that `element` has a new name; whether it did within 10 s.
    [[nodiscard]] bool awaitNewName(const AccessibleElement& element) const;
    /// All that it heard, for the reader of a failure.
    [[nodiscard]] std::string events() const;

private:
    std::filesystem::path file_;
    BusConnection bus_;
    ChildProcess monitor_;
};

} // namespace tandrel::test
