#include "Platform/Linux/LastingProgramPath.h"

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>
#include <unistd.h>

namespace tandrel {

namespace {

namespace fs = std::filesystem;

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

bool isProgram(const fs::path& path) {
    std::error_code ignored;
    return fs::is_regular_file(path, ignored) && ::access(path.c_str(), X_OK) == 0;
}

std::string withoutMark(const std::string& executable) {
    static constexpr std::string_view mark = " (deleted)";
    if (!executable.ends_with(mark) || isProgram(executable)) {
        return executable;
    }
    return executable.substr(0, executable.size() - mark.size());
}

/// The variables are handed down to every program that an AppImage starts, so they are believed
/// only by one that lies in the mounted image itself.
bool runsFromAppImage(const ProgramTraces& traces) {
    return !traces.appDir.empty() && traces.executable.starts_with(traces.appDir + '/') &&
           traces.appImage.starts_with('/') && isProgram(traces.appImage);
}

std::optional<std::string> linkInSearchPath(std::string_view searchPath,
                                            const fs::path& executable) {
    while (!searchPath.empty()) {
        const auto colon = searchPath.find(':');
        const fs::path folder(searchPath.substr(0, colon));
        searchPath.remove_prefix(colon == std::string_view::npos ? searchPath.size() : colon + 1);
        const fs::path candidate = folder / executable.filename();
        std::error_code ignored;
        if (folder.is_absolute() && isProgram(candidate) &&
            fs::equivalent(candidate, executable, ignored)) {
            return candidate.string();
        }
    }
    return std::nullopt;
}

} // namespace

ProgramTraces ProgramTraces::ofThisProcess() {
    std::error_code ignored;
    return {fs::read_symlink("/proc/self/exe", ignored).string(), variable("PATH"),
            variable("APPIMAGE"), variable("APPDIR")};
}

std::string lastingProgramPath(const ProgramTraces& traces) {
    if (runsFromAppImage(traces)) {
        return traces.appImage;
    }
    const std::string executable = withoutMark(traces.executable);
    return linkInSearchPath(traces.searchPath, executable).value_or(executable);
}

} // namespace tandrel
