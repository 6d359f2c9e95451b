#pragma once

#include "Support/ChildProcess.h"
#include "Support/Desktop/AccessibleElement.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace tandrel::test {

class VirtualDisplay;

/// A panel of the older kind, into which programs embed the windows of their icons (trayer), at the
/// top right of the screen.
class XEmbedTray {
public:
    /// Starts it and waits until programs can find it; throws std::runtime_error when they cannot
    /// within 10 s. The display must outlive this object.
    XEmbedTray(const VirtualDisplay& display, const std::filesystem::path& folder);

    /// Where its one icon is on the screen; nothing while there is none.
    [[nodiscard]] std::optional<AccessibleElement::Rectangle> iconArea() const;
    /// Waits until there is an icon; throws std::runtime_error when none comes within 10 s.
    AccessibleElement::Rectangle awaitIcon() const;

private:
    const VirtualDisplay& display_;
    ChildProcess panel_;
};

} // namespace tandrel::test
