#include "Platform/Linux/XdgAutostart.h"

#include "Foundation/FileDescriptor.h"
#include "Platform/ConfigFolder.h"
#include "Platform/Linux/AutostartEntry.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace tandrel {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t maxFileSize = 64 * std::size_t{1024};

std::vector<std::string> partsOf(std::string_view list) {
    std::vector<std::string> parts;
    while (!list.empty()) {
        const auto colon = list.find(':');
        parts.emplace_back(list.substr(0, colon));
        list.remove_prefix(colon == std::string_view::npos ? list.size() : colon + 1);
    }
    return parts;
}

/// The whole of a regular file of sensible size; a pipe in its place keeps nobody waiting.
std::optional<std::string> contentOf(const std::string& path) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    std::string content(maxFileSize + 1, '\0');
    std::size_t size = 0;
    for (;;) {
        const ssize_t count = ::read(file.get(), content.data() + size, content.size() - size);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            content.resize(size);
            return count == 0 && size <= maxFileSize ? std::optional(content) : std::nullopt;
        }
        size += static_cast<std::size_t>(count);
    }
}

bool writeAll(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = ::write(file, text.data(), text.size());
        if (count < 0 && errno != EINTR) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    return true;
}

/// A new file beside its later place, which goes again unless it is put there. Its name does not
/// end in ".desktop": no desktop takes it for an entry.
class NewFile {
public:
    explicit NewFile(const std::string& folder)
        : path_(folder + "/.tandrel-autostart-XXXXXX")
        , file_(::mkostemp(path_.data(), O_CLOEXEC)) {}
    ~NewFile() {
        if (file_) {
            ::unlink(path_.c_str());
        }
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    [[nodiscard]] bool fill(std::string_view text) const {
        return file_ && writeAll(file_.get(), text) && ::fsync(file_.get()) == 0;
    }
    /// Where nothing may stand: what came there meanwhile is not replaced.
    [[nodiscard]] bool putWhereNothingIs(const std::string& place) const {
        // Not every file system can do both.
        return ::renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, place.c_str(), RENAME_NOREPLACE) ==
                   0 ||
               (errno == EINVAL && ::link(path_.c_str(), place.c_str()) == 0);
    }
    [[nodiscard]] bool putInPlaceOf(const std::string& place) const {
        return ::rename(path_.c_str(), place.c_str()) == 0;
    }

private:
    std::string path_;
    FileDescriptor file_;
};

} // namespace

XdgAutostart::Setup XdgAutostart::Setup::ofThisProcess() {
    Setup setup;
    setup.userFolder = configFolder() + "/autostart";
    const char* const configDirs = std::getenv("XDG_CONFIG_DIRS");
    const bool hasConfigDirs = configDirs != nullptr && configDirs[0] != '\0';
    for (const std::string& folder : partsOf(hasConfigDirs ? configDirs : "/etc/xdg")) {
        if (folder.starts_with('/')) {
            setup.systemFolders.push_back(folder + "/autostart");
        }
    }
    setup.program = ProgramTraces::ofThisProcess();
    setup.isSandboxed = std::getenv("FLATPAK_ID") != nullptr;
    return setup;
}

XdgAutostart::XdgAutostart(Setup setup)
    : setup_(std::move(setup)) {}

std::string XdgAutostart::userFile() const {
    return setup_.userFolder + '/' + fileName;
}

LoginStartAnswer XdgAutostart::look() const {
    const Standing standing = standingAt(userFile());
    return {standing.kind == Standing::Kind::absent ? startsForEveryone() : standing.takesEffect,
            {}};
}

LoginStartAnswer XdgAutostart::change(bool toOn) {
    const Standing standing = standingAt(userFile());
    std::string problem;
    if (setup_.isSandboxed) {
        problem = "Inside Flatpak, the desktop's own settings decide what starts at login.";
    } else if (standing.kind == Standing::Kind::foreign) {
        problem = userFile() + " was not written by this program, so it is left as it is.";
    } else {
        problem = toOn ? switchOn(standing) : switchOff(standing);
    }
    LoginStartAnswer answer = look();
    answer.problem = std::move(problem);
    return answer;
}

XdgAutostart::Standing XdgAutostart::standingAt(const std::string& file) const {
    struct stat status {};
    if (::lstat(file.c_str(), &status) != 0) {
        // What cannot be looked at cannot be ours.
        const bool isAbsent = errno == ENOENT || errno == ENOTDIR;
        return {isAbsent ? Standing::Kind::absent : Standing::Kind::foreign, false};
    }
    const auto content = contentOf(file);
    if (!content) {
        return {Standing::Kind::foreign, false};
    }
    const AutostartEntry entry = parseAutostartEntry(*content);
    const bool isOurs = entry.isOurs && S_ISREG(status.st_mode);
    return {isOurs ? Standing::Kind::ours : Standing::Kind::foreign,
            entry.isEnabled && (entry.tryExec.empty() || canBeRun(entry.tryExec))};
}

bool XdgAutostart::startsForEveryone() const {
    for (const std::string& folder : setup_.systemFolders) {
        const Standing standing = standingAt(folder + '/' + fileName);
        if (standing.kind != Standing::Kind::absent) {
            return standing.takesEffect;
        }
    }
    return false;
}

bool XdgAutostart::canBeRun(const std::string& program) const {
    const auto isExecutable = [](const std::string& path) {
        std::error_code ignored;
        return fs::is_regular_file(path, ignored) && ::access(path.c_str(), X_OK) == 0;
    };
    if (program.find('/') != std::string::npos) {
        return isExecutable(program);
    }
    const std::vector<std::string> folders = partsOf(setup_.program.searchPath);
    return std::any_of(folders.begin(), folders.end(), [&](const std::string& folder) {
        return isExecutable(folder + '/' + program);
    });
}

std::string XdgAutostart::switchOn(const Standing& standing) const {
    // One that does its work stays, with what the user may have changed in it.
    const bool isDone = standing.kind == Standing::Kind::ours && standing.takesEffect;
    return isDone ? std::string() : write(true, standing);
}

std::string XdgAutostart::switchOff(const Standing& standing) const {
    if (startsForEveryone()) {
        // Without a file of the user's that says no, the administrator's counts.
        return write(false, standing);
    }
    if (standing.kind == Standing::Kind::ours && ::unlink(userFile().c_str()) != 0 &&
        errno != ENOENT) {
        return failure("remove", errno);
    }
    return {};
}

std::string XdgAutostart::write(bool isEnabled, const Standing& replaced) const {
    std::error_code ignored;
    fs::create_directories(fs::path(setup_.userFolder).parent_path(), ignored);
    if (::mkdir(setup_.userFolder.c_str(), 0700) != 0 && errno != EEXIST) {
        return failure("write", errno);
    }
    const NewFile file(setup_.userFolder);
    if (!file.fill(autostartEntryText(lastingProgramPath(setup_.program), isEnabled))) {
        return failure("write", errno);
    }
    const bool isPlaced = replaced.kind == Standing::Kind::absent
                              ? file.putWhereNothingIs(userFile())
                              : file.putInPlaceOf(userFile());
    return isPlaced ? std::string() : failure("write", errno);
}

std::string XdgAutostart::failure(const char* what, int error) const {
    return std::string("Could not ") + what + ' ' + userFile() + ": " +
           std::generic_category().message(error) + '.';
}

} // namespace tandrel
