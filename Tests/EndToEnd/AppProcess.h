#pragma once

#include "Support/ChildProcess.h"
#include "Support/Desktop/AccessibleApp.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tandrel::test {

class PrivateDesktop;

/// The app itself, with its windows, on a private desktop: all of the program but its compiled-in
/// addresses.
class AppProcess {
public:
    /// What a test decides about a start of the app.
    struct Start {
        std::vector<std::string> arguments;
        /// Of the backend, the web app and the product's site, which are one in tests.
        std::string backendURL;
        /// On top of the desktop's.
        EnvironmentChanges environment;
        /// Where it finds what an earlier run left; a new one when empty.
        std::filesystem::path home;
        /// In place of the one of the build; for a copy.
        std::filesystem::path program;
    };

    AppProcess(const PrivateDesktop& desktop, const Start& start);

    /// The program of the build.
    [[nodiscard]] static std::filesystem::path builtProgram();

    [[nodiscard]] ChildProcess& process() { return process_; }
    [[nodiscard]] AccessibleApp& interface() { return interface_; }
    [[nodiscard]] const std::filesystem::path& home() const { return home_; }

    std::optional<int> waitForExit(std::chrono::milliseconds limit = std::chrono::seconds(10));
    /// Signals it and returns its exit code; nothing when it has not ended within `limit`, which
    /// TANDREL_TEST_TIMEOUT_FACTOR stretches.
    std::optional<int> end(int signal, std::chrono::milliseconds limit = std::chrono::seconds(2));

    /// All that it has printed, to either stream.
    [[nodiscard]] std::string output() const;
    /// The lines of it that nobody expects of a healthy program: all but the narration of the
    /// sign-in. Warnings of Qt and of other libraries are among them.
    [[nodiscard]] std::vector<std::string> unexpectedOutput() const;
    /// Its debug log, timestamps included.
    [[nodiscard]] std::string debugLog() const;
    [[nodiscard]] bool hasLogged(const std::string& text) const;
    /// Waits until its log holds `text`; whether that came.
    bool waitForLog(const std::string& text,
                    std::chrono::milliseconds limit = std::chrono::seconds(10)) const;

private:
    std::filesystem::path home_;
    ChildProcess process_;
    AccessibleApp interface_;
};

} // namespace tandrel::test
