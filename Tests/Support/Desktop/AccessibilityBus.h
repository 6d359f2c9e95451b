#pragma once

#include "Support/ChildProcess.h"
#include "Support/PrivateBus.h"

#include <filesystem>
#include <memory>
#include <string>

namespace tandrel::test {

/// The bus on which programs show their interface to assistive technology (AT-SPI), with its
/// registry; programs on the session bus are told of it.
class AccessibilityBus {
public:
    /// Starts it in `folder`, which exists and has a short path.
    AccessibilityBus(const PrivateBus& session, const std::filesystem::path& folder);

    [[nodiscard]] std::string address() const { return bus_.address(); }
    /// Waits until programs find all of it; throws std::runtime_error when they do not within 10 s.
    void awaitReady() const;

private:
    const PrivateBus& session_;
    PrivateBus bus_;
    ChildProcess registry_;
    ChildProcess launcher_;
};

} // namespace tandrel::test
