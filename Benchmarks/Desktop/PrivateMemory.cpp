#include "PrivateMemory.h"

#include <fstream>
#include <string>

namespace tandrel::bench {

std::int64_t privateMemory(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/smaps_rollup");
    std::string word;
    while (file >> word) {
        std::int64_t kilobytes = 0;
        if (word == "Private_Dirty:" && file >> kilobytes) {
            return kilobytes;
        }
    }
    return 0;
}

} // namespace tandrel::bench
