#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace tandrel::test {

/// What a process holds at one moment: to be compared with what it held before a story, once all of
/// the story is over.
struct ProcessFootprint {
    static constexpr std::string_view tcpSocket = "TCP socket";

    /// What each open descriptor leads to, sorted: a path, or the kind ("socket", "pipe",
    /// `tcpSocket`) of what has none.
    std::vector<std::string> descriptors;
    /// The names of its threads, sorted.
    std::vector<std::string> threads;
    /// Memory of its own (no mapped files) that occupies the machine's.
    std::size_t anonymousBytes = 0;

    /// Of a running process; empty when there is none.
    [[nodiscard]] static ProcessFootprint of(pid_t process);
    [[nodiscard]] static ProcessFootprint ofThisProcess();

    /// The same but for one such descriptor, if there is one: for what comes and goes by itself.
    [[nodiscard]] ProcessFootprint without(std::string_view descriptor) const;

    /// The descriptors and threads that `earlier` did not have, with "+", and those that only it
    /// had, with "-"; empty when both are the same.
    [[nodiscard]] std::string differenceFrom(const ProcessFootprint& earlier) const;
};

/// The names of what runs as a child of this process, sorted: of what it has started, and, once it
/// has asked for orphans, of what its children have left behind.
[[nodiscard]] std::vector<std::string> childrenOfThisProcess();

/// From here on, a process whose parent has ended becomes this process's child, if it descends from
/// it, rather than the system's.
void adoptOrphans();

/// How much memory a running process takes, in bytes; zeros when there is none.
struct ProcessMemory {
    /// All that occupies the machine's, pages shared with others counted whole: unlike a share of
    /// them it does not change when others start or end.
    std::size_t resident = 0;
    /// The part that is no file's.
    std::size_t anonymous = 0;
    /// With each shared page counted by its share (proc(5): Pss).
    std::size_t proportional = 0;

    [[nodiscard]] static ProcessMemory of(pid_t process);
};

} // namespace tandrel::test
