#include "Support/SmallDisk.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sched.h>
#include <stdexcept>
#include <string>
#include <sys/mount.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace tandrel::test {

namespace {

[[noreturn]] void fail(const char* what) {
    throw std::runtime_error(std::string(what) + ": " + std::generic_category().message(errno));
}

/// From here on, what is mounted is this program's own.
void leaveSharedMounts() {
    static const bool done = [] {
        if (unshare(CLONE_NEWNS) != 0) {
            fail("mounts of its own");
        }
        if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
            fail("private mounts");
        }
        return true;
    }();
    (void)done;
}

std::filesystem::path newFolder() {
    std::string pattern = (std::filesystem::path(std::getenv("HOME")) / "diskXXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        fail("a folder for the disk");
    }
    return pattern;
}

std::string options() {
    return "size=" + std::to_string(SmallDisk::size) + ",mode=0700";
}

} // namespace

SmallDisk::SmallDisk() {
    leaveSharedMounts();
    path_ = newFolder();
    if (mount("tmpfs", path_.c_str(), "tmpfs", 0, options().c_str()) != 0) {
        fail("a small disk");
    }
}

SmallDisk::~SmallDisk() {
    // Whoever still uses it keeps it; its place is free all the same.
    umount2(path_.c_str(), MNT_DETACH);
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
}

void SmallDisk::fill() const {
    const int file = open(filler().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (file < 0) {
        fail("a file to fill the disk");
    }
    // Whole pages first, since the file system counts in those.
    const std::vector<char> page(4096, 'x');
    while (write(file, page.data(), page.size()) > 0) {
    }
    const bool isFull = errno == ENOSPC;
    close(file);
    if (!isFull) {
        fail("filling the disk");
    }
}

void SmallDisk::clear() const {
    std::filesystem::remove(filler());
}

void SmallDisk::setReadOnly(bool isReadOnly) const {
    const unsigned long flags =
        MS_REMOUNT | (isReadOnly ? static_cast<unsigned long>(MS_RDONLY) : 0UL);
    if (mount("tmpfs", path_.c_str(), "tmpfs", flags, options().c_str()) != 0) {
        fail("remounting the disk");
    }
}

void showInPlaceOf(const std::filesystem::path& place, const std::filesystem::path& folder) {
    leaveSharedMounts();
    if (mount(folder.c_str(), place.c_str(), nullptr, MS_BIND, nullptr) != 0) {
        fail("another folder in its place");
    }
}

} // namespace tandrel::test
