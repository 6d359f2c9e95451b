#include "Support/SmallDisk.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace tandrel::test {
namespace {

bool canWrite(const std::filesystem::path& file) {
    std::ofstream stream(file, std::ios::binary | std::ios::app);
    stream << "x" << std::flush;
    return stream.good();
}

TEST(SmallDisk, TakesNothingMoreWhenItIsFullAndAgainWhenItIsCleared) {
    const SmallDisk disk;
    EXPECT_TRUE(canWrite(disk.path() / "before"));
    disk.fill();
    EXPECT_FALSE(canWrite(disk.path() / "meanwhile"));
    disk.clear();
    EXPECT_TRUE(canWrite(disk.path() / "after"));
}

TEST(SmallDisk, RefusesEvenRootWhileItIsReadOnly) {
    const SmallDisk disk;
    disk.setReadOnly(true);
    EXPECT_FALSE(canWrite(disk.path() / "file"));
    disk.setReadOnly(false);
    EXPECT_TRUE(canWrite(disk.path() / "file"));
}

TEST(SmallDisk, GoesWithItsObject) {
    std::filesystem::path path;
    {
        const SmallDisk disk;
        path = disk.path();
        EXPECT_TRUE(canWrite(path / "file"));
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

} // namespace
} // namespace tandrel::test
