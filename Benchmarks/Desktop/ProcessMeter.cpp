#include "ProcessMeter.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace tandrel::bench {

namespace {

std::filesystem::path folderOf(pid_t pid) {
    return std::filesystem::path("/proc") / std::to_string(pid);
}

/// The number behind `label` in a file of lines "label: number ...".
std::int64_t numberBehind(const std::filesystem::path& file, const std::string& label) {
    std::ifstream stream(file);
    std::string word;
    while (stream >> word) {
        std::int64_t number = 0;
        if (word == label && stream >> number) {
            return number;
        }
    }
    return 0;
}

} // namespace

ProcessUse processUse(pid_t pid) {
    ProcessUse use;
    std::error_code error;
    for (const auto& task : std::filesystem::directory_iterator(folderOf(pid) / "task", error)) {
        std::ifstream schedstat(task.path() / "schedstat");
        std::int64_t nanoseconds = 0;
        if (schedstat >> nanoseconds) {
            use.cpu += std::chrono::nanoseconds(nanoseconds);
        }
        use.wakeUps += numberBehind(task.path() / "status", "voluntary_ctxt_switches:");
    }
    return use;
}

std::int64_t proportionalSetSize(pid_t pid) {
    return numberBehind(folderOf(pid) / "smaps_rollup", "Pss:");
}

} // namespace tandrel::bench
