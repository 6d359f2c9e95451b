#include "Platform/DiskPackageStore.h"

#include "Support/FileText.h"
#include "Support/ManualMainQueue.h"
#include "Support/WaitUntil.h"

#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <vector>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
namespace fs = std::filesystem;

mode_t modeOf(const fs::path& path) {
    struct stat info {};
    EXPECT_EQ(::stat(path.c_str(), &info), 0) << path;
    return info.st_mode & 0777U;
}

std::string read(const fs::path& path) {
    return test::textOf(path);
}

class DiskPackageStoreTest : public testing::Test {
protected:
    void SetUp() override {
        root = fs::path(testing::TempDir()) / "disk-package-store-XXXXXX";
        std::string pattern = root.string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        root = pattern;
        folder = root / "cache" / "updates";
        makeStore();
    }
    void TearDown() override {
        store.reset();
        fs::remove_all(root);
    }

    void makeStore() {
        store = std::make_unique<DiskPackageStore>(
            DiskPackageStore::Options{
                folder.string(), "key",
                [this](std::string_view key, std::string_view message, std::string_view signature) {
                    EXPECT_EQ(key, "key");
                    message_ = message;
                    return signature == "genuine"   ? SignatureVerdict::genuine
                           : signature == "unknown" ? SignatureVerdict::unavailable
                                                    : SignatureVerdict::wrong;
                }},
            queue);
    }

    WriteOutcome append(PackageFile& file, const std::string& part) {
        std::optional<WriteOutcome> outcome;
        file.append(part, [&](WriteOutcome reached) { outcome = reached; });
        EXPECT_FALSE(outcome) << "told from inside the call";
        EXPECT_TRUE(queue.drainUntil([&] { return outcome.has_value(); }));
        return *outcome;
    }
    PackageVerdict seal(PackageFile& file, std::uint64_t length,
                        const std::vector<std::string>& signatures) {
        std::optional<PackageVerdict> verdict;
        file.seal({"1.2", length, signatures},
                  [&](PackageVerdict reached, const std::string& path) {
                      verdict = reached;
                      path_ = path;
                  });
        EXPECT_TRUE(queue.drainUntil([&] { return verdict.has_value(); }));
        return *verdict;
    }
    [[nodiscard]] std::vector<std::string> files() {
        store->flush(20s);
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder)) {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }

    fs::path root;
    fs::path folder;
    test::ManualMainQueue queue;
    std::unique_ptr<DiskPackageStore> store;
    /// What was to be verified last.
    std::string message_;
    std::string path_;
};

TEST_F(DiskPackageStoreTest, KeepsAGenuinePackageInAPrivatePlace) {
    const auto file = store->create("1.2");
    EXPECT_EQ(append(*file, "01234"), WriteOutcome::written);
    EXPECT_EQ(append(*file, "56789"), WriteOutcome::written);
    EXPECT_THAT(files(), ElementsAre("quorvane-tandrel_1.2.deb.part"));
    EXPECT_EQ(modeOf(folder), 0700U);
    EXPECT_EQ(modeOf(folder / "quorvane-tandrel_1.2.deb.part"), 0600U);
    EXPECT_EQ(seal(*file, 10, {"genuine"}), PackageVerdict::genuine);
    EXPECT_THAT(files(), ElementsAre("quorvane-tandrel_1.2.deb"));
    EXPECT_EQ(path_, (folder / "quorvane-tandrel_1.2.deb").string());
    EXPECT_EQ(read(path_), "0123456789");
    EXPECT_EQ(modeOf(path_), 0600U);
}

TEST_F(DiskPackageStoreTest, KeepsAGenuinePackageWhenItsOwnersHaveGone) {
    auto file = store->create("1.2");
    EXPECT_EQ(append(*file, "01234"), WriteOutcome::written);
    EXPECT_EQ(seal(*file, 5, {"genuine"}), PackageVerdict::genuine);
    file.reset();
    store.reset();
    EXPECT_EQ(read(path_), "01234");
}

TEST_F(DiskPackageStoreTest, ChecksTheVersionTogetherWithTheBytes) {
    const auto file = store->create("1.2");
    EXPECT_EQ(append(*file, std::string("a\0b", 3)), WriteOutcome::written);
    EXPECT_EQ(seal(*file, 3, {"genuine"}), PackageVerdict::genuine);
    EXPECT_EQ(message_, std::string("quorvane-tandrel 1.2\na\0b", 24));
}

TEST_F(DiskPackageStoreTest, ChecksWhatLiesOnTheDisk) {
    const auto file = store->create("1.2");
    EXPECT_EQ(append(*file, "01234"), WriteOutcome::written);
    {
        std::ofstream change(folder / "quorvane-tandrel_1.2.deb.part");
        change << "abcde";
    }
    EXPECT_EQ(seal(*file, 5, {"genuine"}), PackageVerdict::genuine);
    EXPECT_THAT(message_, EndsWith("abcde"));
}

TEST_F(DiskPackageStoreTest, TakesAnyGenuineSignature) {
    auto file = store->create("1.2");
    EXPECT_EQ(append(*file, "01234"), WriteOutcome::written);
    EXPECT_EQ(seal(*file, 5, {"wrong", "unknown", "genuine"}), PackageVerdict::genuine);
}

TEST_F(DiskPackageStoreTest, RemovesWhatIsNotGenuine) {
    const struct {
        std::uint64_t length;
        std::vector<std::string> signatures;
        PackageVerdict verdict;
    } cases[] = {{5, {"wrong"}, PackageVerdict::wrongSignature},
                 {5, {}, PackageVerdict::wrongSignature},
                 {5, {"unknown"}, PackageVerdict::unverifiable},
                 {4, {"genuine"}, PackageVerdict::wrongLength},
                 {6, {"genuine"}, PackageVerdict::wrongLength}};
    for (const auto& [length, signatures, expected] : cases) {
        auto file = store->create("1.2");
        EXPECT_EQ(append(*file, "01234"), WriteOutcome::written);
        EXPECT_EQ(seal(*file, length, signatures), expected);
        file.reset();
        EXPECT_THAT(files(), IsEmpty());
    }
}

TEST_F(DiskPackageStoreTest, RemovesWhatIsGivenUpAndSaysNoMore) {
    auto file = store->create("1.2");
    EXPECT_EQ(append(*file, "01234"), WriteOutcome::written);
    int calls = 0;
    file->append("56789", [&](WriteOutcome) { ++calls; });
    file->seal({"1.2", 10, {"wrong"}}, [&](PackageVerdict, const std::string&) { ++calls; });
    file.reset();
    EXPECT_THAT(files(), IsEmpty());
    queue.drain();
    EXPECT_EQ(calls, 0);
}

TEST_F(DiskPackageStoreTest, RemovesAnUnfinishedDownloadWithTheStore) {
    auto file = store->create("1.2");
    EXPECT_EQ(append(*file, "01234"), WriteOutcome::written);
    file.reset();
    EXPECT_TRUE(store->flush(20s));
    store.reset();
    EXPECT_TRUE(fs::is_empty(folder));
}

TEST_F(DiskPackageStoreTest, TellsNobodyOfWorkThatOutlivesIt) {
    std::promise<void> begun;
    std::promise<void> mayEnd;
    auto isHeld = std::make_shared<bool>();
    const std::weak_ptr<bool> held = isHeld;
    store = std::make_unique<DiskPackageStore>(
        DiskPackageStore::Options{
            folder.string(), "key",
            [&begun, end = mayEnd.get_future().share(),
             isHeld = std::move(isHeld)](std::string_view, std::string_view, std::string_view) {
                begun.set_value();
                end.wait();
                return SignatureVerdict::genuine;
            }},
        queue);
    auto file = store->create("1.2");
    EXPECT_EQ(append(*file, "01234"), WriteOutcome::written);
    file->seal({"1.2", 5, {"genuine"}}, [](PackageVerdict, const std::string&) {});
    begun.get_future().wait();
    file.reset();
    store.reset();
    mayEnd.set_value();
    EXPECT_TRUE(test::waitUntil([&] { return held.expired(); }));
    EXPECT_EQ(queue.size(), 0U);
}

TEST_F(DiskPackageStoreTest, RemovesWhatEarlierRunsLeft) {
    fs::create_directories(folder);
    std::ofstream(folder / "quorvane-tandrel_1.1.deb") << "old";
    std::ofstream(folder / "quorvane-tandrel_1.2.deb.part") << "broken off";
    fs::permissions(folder, fs::perms::all);
    auto file = store->create("1.2");
    EXPECT_EQ(append(*file, "01234"), WriteOutcome::written);
    EXPECT_THAT(files(), ElementsAre("quorvane-tandrel_1.2.deb.part"));
    EXPECT_EQ(read(folder / "quorvane-tandrel_1.2.deb.part"), "01234");
    EXPECT_EQ(modeOf(folder), 0700U);
}

TEST_F(DiskPackageStoreTest, FollowsNoLink) {
    const fs::path elsewhere = root / "elsewhere";
    fs::create_directories(elsewhere);
    std::ofstream(elsewhere / "precious") << "kept";
    fs::create_directories(folder.parent_path());
    fs::create_directory_symlink(elsewhere, folder);
    const auto file = store->create("1.2");
    EXPECT_EQ(append(*file, "01234"), WriteOutcome::failed);
    store->flush(20s);
    EXPECT_EQ(read(elsewhere / "precious"), "kept");
    EXPECT_EQ(std::distance(fs::directory_iterator(elsewhere), fs::directory_iterator()), 1);
}

TEST_F(DiskPackageStoreTest, SaysWhenThereIsNoPlace) {
    std::ofstream(root / "cache") << "a file where a folder should be";
    const auto file = store->create("1.2");
    EXPECT_EQ(append(*file, "01234"), WriteOutcome::failed);
    EXPECT_EQ(seal(*file, 5, {"genuine"}), PackageVerdict::unreadable);
}

/// For the life of this object no file of this process grows beyond `bytes`.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes)
        : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{bytes, before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }

private:
    rlimit before_{};
    void (*handler_)(int);
};

TEST_F(DiskPackageStoreTest, SaysWhenTheDiskTakesNoMore) {
    auto file = store->create("1.2");
    {
        const FileSizeLimit limit(4096);
        EXPECT_EQ(append(*file, std::string(4096, 'a')), WriteOutcome::written);
        EXPECT_EQ(append(*file, "b"), WriteOutcome::diskFull);
    }
    file.reset();
    EXPECT_THAT(files(), IsEmpty());
}

TEST(DiskPackageStoreFolder, LiesBelowTheUsersCaches) {
    EXPECT_THAT(DiskPackageStore::defaultFolder(), EndsWith("/quorvane-tandrel/updates"));
    EXPECT_EQ(DiskPackageStore::defaultFolder().front(), '/');
}

} // namespace
} // namespace tandrel
