#pragma once

#include "Platform/Linux/LastingProgramPath.h"
#include "Platform/LoginStart.h"

#include <string>
#include <vector>

namespace tandrel {

/// The start at login by a file in the user's autostart folder
/// (https://specifications.freedesktop.org/autostart-spec/0.5/), which all desktops know.
///
/// A file that this program did not write, be it the user's or another tool's, is neither replaced
/// nor removed; nor is a link in its place. One of ours is written whole or not at all. What the
/// user changed in it stays until it is switched off.
class XdgAutostart : public LoginStart {
public:
    struct Setup {
        /// The autostart folder below $XDG_CONFIG_HOME, and those below $XDG_CONFIG_DIRS, whose
        /// file counts where the user has none.
        std::string userFolder;
        std::vector<std::string> systemFolders;
        ProgramTraces program;
        /// Inside Flatpak the folder is not the one that the desktop looks into.
        bool isSandboxed = false;

        /// This process's. Reads the environment, so on the main thread.
        [[nodiscard]] static Setup ofThisProcess();
    };

    static constexpr const char* fileName = "com.quorvane.Tandrel.desktop";

    explicit XdgAutostart(Setup setup = Setup::ofThisProcess());

    [[nodiscard]] LoginStartAnswer look() const override;
    LoginStartAnswer change(bool toOn) override;

private:
    /// What stands in one of the folders under our file's name.
    struct Standing {
        enum class Kind { absent, ours, foreign };
        Kind kind = Kind::absent;
        /// Whether a desktop starts what it names.
        bool takesEffect = false;
    };

    [[nodiscard]] std::string userFile() const;
    [[nodiscard]] Standing standingAt(const std::string& file) const;
    [[nodiscard]] bool startsForEveryone() const;
    [[nodiscard]] bool canBeRun(const std::string& program) const;
    [[nodiscard]] std::string switchOn(const Standing& standing) const;
    [[nodiscard]] std::string switchOff(const Standing& standing) const;
    /// Each returns what went wrong, empty when nothing did.
    [[nodiscard]] std::string write(bool isEnabled, const Standing& replaced) const;
    [[nodiscard]] std::string failure(const char* what, int error) const;

    Setup setup_;
};

} // namespace tandrel
