#pragma once

#include "Support/ChildProcess.h"

#include <filesystem>
#include <memory>
#include <string>
#include <utility>

namespace tandrel::test {

/// A D-Bus session bus of the test's own, without any service that could be started on demand but
/// those that a test names.
class PrivateBus {
public:
    /// Services that the bus starts on demand.
    struct Activation {
        /// The folder of their descriptions; none when empty.
        std::filesystem::path services;
        /// What they find in their environment.
        EnvironmentChanges environment;
    };

    /// Starts the bus in `folder`, which exists and has a short path, and waits until it takes
    /// connections; throws std::runtime_error when it does not within 10 s.
    explicit PrivateBus(std::filesystem::path folder)
        : PrivateBus(std::move(folder), Activation{}) {}
    PrivateBus(std::filesystem::path folder, const Activation& activation);
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    [[nodiscard]] std::string address() const;
    /// The variable that leads a program to this bus.
    [[nodiscard]] EnvironmentChanges clientEnvironment() const;
    /// Makes it this process's session bus; the destructor takes that back.
    void makeDefault();

    [[nodiscard]] bool hasOwner(const std::string& name) const;
    /// Waits until somebody owns `name`; throws std::runtime_error when nobody does within 10 s.
    void awaitOwner(const std::string& name) const;
    /// Waits until nobody owns `name`; throws std::runtime_error when somebody still does after
    /// 10 s.
    void awaitRelease(const std::string& name) const;

private:
    std::filesystem::path folder_;
    std::unique_ptr<ChildProcess> daemon_;
    bool isDefault_ = false;
};

} // namespace tandrel::test
