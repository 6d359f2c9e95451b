#pragma once

#include "Support/ChildProcess.h"
#include "Support/Desktop/BusConnection.h"
#include "Support/Desktop/StatusNotifierItem.h"

#include <filesystem>
#include <string>
#include <vector>

namespace tandrel::test {

class PrivateBus;

/// A panel of today's kind: it takes icons over the session bus (StatusNotifierItem).
class StatusNotifierTray {
public:
    /// A watcher without a host is what a program finds while the panel is still starting.
    enum class Start { complete, withoutHost };

    /// Starts it and waits until programs can find it. The bus must outlive this object.
    StatusNotifierTray(const PrivateBus& bus, const std::filesystem::path& folder,
                       Start start = Start::complete);

    /// The icons that are registered now, as the watcher lists them.
    [[nodiscard]] std::vector<std::string> items() const;
    /// Waits until there is an icon; throws std::runtime_error when none comes within 10 s.
    StatusNotifierItem awaitItem() const;
    /// The panel that was missing is there now.
    void registerHost() const;

private:
    ChildProcess watcher_;
    BusConnection bus_;
};

} // namespace tandrel::test
