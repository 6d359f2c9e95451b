#include "Platform/Linux/LastingProgramPath.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace tandrel {
namespace {

namespace fs = std::filesystem;

class LastingProgramPath : public testing::Test {
protected:
    LastingProgramPath() {
        std::string pattern = (fs::path(std::getenv("HOME")) / "pXXXXXX").string();
        folder = mkdtemp(pattern.data());
    }
    ~LastingProgramPath() override { fs::remove_all(folder); }

    std::string program(const std::string& name) const {
        const fs::path path = folder / name;
        fs::create_directories(path.parent_path());
        std::ofstream(path) << "#!/bin/sh\n";
        fs::permissions(path, fs::perms::owner_all);
        return path.string();
    }
    std::string link(const std::string& name, const std::string& target) const {
        const fs::path path = folder / name;
        fs::create_directories(path.parent_path());
        fs::create_symlink(target, path);
        return path.string();
    }

    fs::path folder;
};

TEST_F(LastingProgramPath, IsWhereTheProgramLies) {
    const std::string tandrel = program("build/bin/tandrel");
    EXPECT_EQ(lastingProgramPath({tandrel, "/usr/bin:/bin", "", ""}), tandrel);
}

TEST_F(LastingProgramPath, IsTheLinkInTheSearchPathThatOutlivesVersions) {
    const std::string tandrel = program("opt/tandrel-1.2/bin/tandrel");
    const std::string lasting = link("bin/tandrel", tandrel);
    const std::string searchPath = "relative::/nowhere:" + (folder / "bin").string() + ":/bin";
    EXPECT_EQ(lastingProgramPath({tandrel, searchPath, "", ""}), lasting);
}

TEST_F(LastingProgramPath, IsNotAnotherProgramOfThatName) {
    const std::string tandrel = program("build/bin/tandrel");
    (void)program("bin/tandrel");
    EXPECT_EQ(lastingProgramPath({tandrel, (folder / "bin").string(), "", ""}), tandrel);
}

TEST_F(LastingProgramPath, IsTheNewFileAfterAnUpdate) {
    const std::string tandrel = program("bin/tandrel");
    EXPECT_EQ(lastingProgramPath({tandrel + " (deleted)", "", "", ""}), tandrel);
}

TEST_F(LastingProgramPath, KeepsANameThatOnlyLooksDeleted) {
    const std::string tandrel = program("bin/tandrel (deleted)");
    EXPECT_EQ(lastingProgramPath({tandrel, "", "", ""}), tandrel);
}

TEST_F(LastingProgramPath, IsTheAppImageThatItRunsFrom) {
    const std::string image = program("Tandrel.AppImage");
    const std::string mounted = program("mount/usr/bin/tandrel");
    EXPECT_EQ(lastingProgramPath({mounted, "", image, (folder / "mount").string()}), image);
}

TEST_F(LastingProgramPath, IsNotAnAppImageThatMerelyStartedIt) {
    const std::string image = program("Terminal.AppImage");
    const std::string tandrel = program("bin/tandrel");
    EXPECT_EQ(lastingProgramPath({tandrel, "", image, (folder / "mount").string()}), tandrel);
    // Nor one that has gone.
    EXPECT_EQ(lastingProgramPath({tandrel, "", "/nowhere/T.AppImage", (folder / "bin").string()}),
              tandrel);
}

TEST_F(LastingProgramPath, OfThisProcessIsThisProgram) {
    const std::string path = lastingProgramPath(ProgramTraces::ofThisProcess());
    EXPECT_TRUE(fs::equivalent(path, "/proc/self/exe"));
}

} // namespace
} // namespace tandrel
