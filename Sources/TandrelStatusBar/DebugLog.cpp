#include "DebugLog.h"

#include "Foundation/LogFile.h"
#include "Foundation/PrivateFolder.h"
#include "Platform/LogFolder.h"

#include <filesystem>

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
    makePrivateFolder(std::filesystem::path(path()).parent_path());
}

} // namespace tandrel
