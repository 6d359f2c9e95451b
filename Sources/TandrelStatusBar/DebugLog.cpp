#include "DebugLog.h"

#include "Foundation/FileDescriptor.h"
#include "Foundation/LogFile.h"
#include "Platform/LogFolder.h"

#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>

namespace tandrel {

namespace {

LogFile& logFile() {
    // Never destroyed: a thread may still write a line while the process ends.
    static LogFile& file = *new LogFile(logFolder(homeDirectory()) + "/tandrel-debug.log");
    return file;
}

} // namespace

void DebugLog::write(std::string_view message) {
    logFile().write(message);
}

const std::string& DebugLog::path() {
    return logFile().path();
}

void DebugLog::createDirectory() {
    const std::filesystem::path folder = std::filesystem::path(path()).parent_path();
    std::error_code ignored;
    std::filesystem::create_directories(folder.parent_path(), ignored);
    ::mkdir(folder.c_str(), 0700);
    // A folder that is there already may be open to others; one behind a link is not ours to
    // change.
    const FileDescriptor opened(
        ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (opened) {
        ::fchmod(opened.get(), 0700);
    }
}

} // namespace tandrel
