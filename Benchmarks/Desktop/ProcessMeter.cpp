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

ProcessMeter::ProcessMeter(pid_t pid) {
    std::error_code error;
    for (const auto& task : std::filesystem::directory_iterator(folderOf(pid) / "task", error)) {
        const std::int64_t wakeUps =
            numberBehind(task.path() / "status", "voluntary_ctxt_switches:");
        std::ifstream schedstat(task.path() / "schedstat");
        std::int64_t nanoseconds = 0;
        // Both, or the thread has ended meanwhile.
        if (schedstat >> nanoseconds) {
            threads_[task.path().filename().string()] = {std::chrono::nanoseconds(nanoseconds),
                                                         wakeUps};
        }
    }
}

ProcessUse ProcessMeter::since(const ProcessMeter& earlier) const {
    ProcessUse total;
    for (const auto& [thread, use] : threads_) {
        const auto before = earlier.threads_.find(thread);
        const ProcessUse start = before == earlier.threads_.end() ? ProcessUse{} : before->second;
        total.cpu += use.cpu - start.cpu;
        total.wakeUps += use.wakeUps - start.wakeUps;
    }
    return total;
}

std::int64_t proportionalSetSize(pid_t pid) {
    return numberBehind(folderOf(pid) / "smaps_rollup", "Pss:");
}

std::int64_t privateMemory(pid_t pid) {
    return numberBehind(folderOf(pid) / "smaps_rollup", "Private_Dirty:");
}

} // namespace tandrel::bench
