#pragma once

#include "Support/ChildProcess.h"
#include "Support/Desktop/PrivateDesktop.h"

#include <memory>
#include <string>
#include <vector>

namespace tandrel::bench {

/// A program that is measured: what to start, and how it is called in the figures.
struct Candidate {
    std::string name;
    std::vector<std::string> command;
    test::EnvironmentChanges environment;

    /// Starts it on the desktop.
    [[nodiscard]] std::unique_ptr<test::ChildProcess>
    start(const test::PrivateDesktop& desktop) const {
        test::EnvironmentChanges variables = environment;
        variables.merge(desktop.clientEnvironment());
        return std::make_unique<test::ChildProcess>(command, variables,
                                                    desktop.folder() / (name + ".log"));
    }
};

} // namespace tandrel::bench
