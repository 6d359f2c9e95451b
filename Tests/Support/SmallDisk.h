#pragma once

#include <cstddef>
#include <filesystem>

namespace tandrel::test {

/// A file system of the test's own that can be full or read-only, for root too. Only this program,
/// what it starts, and threads that it starts after the first such disk see it; it goes with the
/// program at the latest. Made on the main thread, before others are started. Throws
/// std::runtime_error where the system lets nobody mount: needs root.
class SmallDisk {
public:
    static constexpr std::size_t size = 256 * std::size_t{1024};

    SmallDisk();
    ~SmallDisk();
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    /// Leaves not a byte of room.
    void fill() const;
    /// Makes the room again.
    void clear() const;
    void setReadOnly(bool isReadOnly) const;

private:
    [[nodiscard]] std::filesystem::path filler() const { return path_ / "filler"; }

    std::filesystem::path path_;
};

/// In this program and in what it starts, `folder` is seen in the place of `place`, until the end
/// of the program. Like a disk, on the main thread, and for root.
void showInPlaceOf(const std::filesystem::path& place, const std::filesystem::path& folder);

} // namespace tandrel::test
