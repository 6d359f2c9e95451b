#include "Support/ProcessFootprint.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string_view>
#include <sys/prctl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace tandrel::test {

namespace {

namespace fs = std::filesystem;

/// The TCP sockets that a process's network knows, as its descriptors name them (proc_pid_net(5)).
std::set<std::string> tcpSockets(const fs::path& process) {
    std::set<std::string> sockets;
    for (const char* table : {"tcp", "tcp6"}) {
        std::ifstream stream(process / "net" / table);
        std::string line;
        std::getline(stream, line); // The headings.
        while (std::getline(stream, line)) {
            std::istringstream columns(line);
            std::string column;
            for (int number = 0; number < 10; ++number) {
                columns >> column;
            }
            sockets.insert("socket:[" + column + ']');
        }
    }
    return sockets;
}

/// "socket:[123]" and the like without their number, which is new each time.
std::string kindOf(const std::string& target, const std::set<std::string>& tcp) {
    if (tcp.contains(target)) {
        return std::string(ProcessFootprint::tcpSocket);
    }
    const auto number = target.find(":[");
    return target.starts_with('/') || number == std::string::npos || !target.ends_with(']') ||
                   target.starts_with("anon_inode")
               ? target
               : target.substr(0, number);
}

std::string firstLineOf(const fs::path& file) {
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line;
}

/// The entries of a folder that changes while it is read.
std::vector<fs::path> entriesOf(const fs::path& folder) {
    std::vector<fs::path> entries;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        entries.push_back(entry->path());
    }
    return entries;
}

std::size_t kibibytesIn(const fs::path& status, std::string_view field) {
    std::ifstream stream(status);
    for (std::string word; stream >> word;) {
        if (word == field) {
            std::size_t kibibytes = 0;
            stream >> kibibytes;
            return kibibytes;
        }
    }
    return 0;
}

void appendMissing(std::string& text, char sign, const std::vector<std::string>& all,
                   const std::vector<std::string>& known) {
    std::vector<std::string> missing;
    std::set_difference(all.begin(), all.end(), known.begin(), known.end(),
                        std::back_inserter(missing));
    for (const std::string& entry : missing) {
        text += (text.empty() ? "" : " ") + std::string(1, sign) + entry;
    }
}

} // namespace

ProcessFootprint ProcessFootprint::of(pid_t process) {
    const fs::path folder = fs::path("/proc") / std::to_string(process);
    ProcessFootprint footprint;
    const std::set<std::string> tcp = tcpSockets(folder);
    for (const fs::path& entry : entriesOf(folder / "fd")) {
        std::error_code error;
        const std::string target = fs::read_symlink(entry, error).string();
        // What looks at this process's own folder is gone by the next look.
        if (!error && target != (folder / "fd").string()) {
            footprint.descriptors.push_back(kindOf(target, tcp));
        }
    }
    for (const fs::path& entry : entriesOf(folder / "task")) {
        if (std::string name = firstLineOf(entry / "comm"); !name.empty()) {
            footprint.threads.push_back(std::move(name));
        }
    }
    std::sort(footprint.descriptors.begin(), footprint.descriptors.end());
    std::sort(footprint.threads.begin(), footprint.threads.end());
    footprint.anonymousBytes = kibibytesIn(folder / "status", "RssAnon:") * 1024;
    return footprint;
}

ProcessFootprint ProcessFootprint::ofThisProcess() {
    return of(getpid());
}

ProcessFootprint ProcessFootprint::without(std::string_view descriptor) const {
    ProcessFootprint rest = *this;
    const auto found = std::ranges::find(rest.descriptors, descriptor);
    if (found != rest.descriptors.end()) {
        rest.descriptors.erase(found);
    }
    return rest;
}

std::string ProcessFootprint::differenceFrom(const ProcessFootprint& earlier) const {
    std::string text;
    appendMissing(text, '+', descriptors, earlier.descriptors);
    appendMissing(text, '-', earlier.descriptors, descriptors);
    appendMissing(text, '+', threads, earlier.threads);
    appendMissing(text, '-', earlier.threads, threads);
    return text;
}

std::vector<std::string> childrenOfThisProcess() {
    std::vector<std::string> names;
    for (const fs::path& entry : entriesOf("/proc")) {
        // "1234 (name) S 1 …", where the name may hold anything.
        const std::string status = firstLineOf(entry / "stat");
        const auto begin = status.find('(');
        const auto end = status.rfind(')');
        if (begin == std::string::npos || end == std::string::npos) {
            continue;
        }
        std::istringstream rest(status.substr(end + 1));
        char state = 0;
        pid_t parent = 0;
        rest >> state >> parent;
        if (parent == getpid() && state != 'Z') {
            names.push_back(status.substr(begin + 1, end - begin - 1));
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

void adoptOrphans() {
    prctl(PR_SET_CHILD_SUBREAPER, 1);
}

ProcessMemory ProcessMemory::of(pid_t process) {
    const fs::path folder = fs::path("/proc") / std::to_string(process);
    return {kibibytesIn(folder / "status", "VmRSS:") * 1024,
            kibibytesIn(folder / "status", "RssAnon:") * 1024,
            kibibytesIn(folder / "smaps_rollup", "Pss:") * 1024};
}

} // namespace tandrel::test
