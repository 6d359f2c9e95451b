#pragma once

#include <string>

namespace tandrel {

/// What a process knows about where its program lies.
struct ProgramTraces {
    /// The running program as the kernel names it (/proc/self/exe); " (deleted)" follows when an
    /// update has put another file in its place.
    std::string executable;
    /// $PATH, $APPIMAGE and $APPDIR.
    std::string searchPath;
    std::string appImage;
    std::string appDir;

    /// Those of this process. Reads the environment, so on the main thread.
    [[nodiscard]] static ProgramTraces ofThisProcess();
};

/// The path by which the program can be started at a later time, also after updates: the AppImage
/// that it runs from, or a link to it in the search path, or where it lies. Looks at the disk; any
/// thread.
[[nodiscard]] std::string lastingProgramPath(const ProgramTraces& traces);

} // namespace tandrel
