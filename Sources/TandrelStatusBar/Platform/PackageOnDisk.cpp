#include "Platform/PackageOnDisk.h"

#include "Foundation/PrivateFolder.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace tandrel {

namespace {

constexpr mode_t ownerOnly = 0600;

/// The ending by which desktops know what to open it with.
std::string packageName(const std::string& version) {
    std::string name = "quorvane-tandrel_" + version + ".deb";
    std::replace(name.begin(), name.end(), '/', '_');
    return name;
}

std::vector<std::string> filesIn(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code error;
    std::filesystem::directory_iterator entry(folder, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        names.push_back(entry->path().filename().string());
    }
    return names;
}

bool isPrivateFolder(int folder) {
    struct stat info {};
    return ::fstat(folder, &info) == 0 && info.st_uid == ::geteuid() && (info.st_mode & 0077U) == 0;
}

} // namespace

PackageOnDisk::PackageOnDisk(std::string folder, const std::string& version)
    : folderPath_(std::move(folder))
    , name_(packageName(version)) {}

PackageOnDisk::~PackageOnDisk() {
    if (file_ && !isSealed_) {
        ::unlinkat(folder_.get(), partName().c_str(), 0);
    }
}

void PackageOnDisk::open() {
    makePrivateFolder(folderPath_);
    // By descriptor from here on: what is checked is what is used.
    folder_ = FileDescriptor(
        ::open(folderPath_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder_ || !isPrivateFolder(folder_.get())) {
        return;
    }
    for (const std::string& name : filesIn(folderPath_)) {
        ::unlinkat(folder_.get(), name.c_str(), 0);
    }
    file_ = FileDescriptor(::openat(folder_.get(), partName().c_str(),
                                    O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, ownerOnly));
}

WriteOutcome PackageOnDisk::append(std::string_view part) {
    if (!file_) {
        return WriteOutcome::failed;
    }
    while (!part.empty()) {
        const ssize_t count = ::write(file_.get(), part.data(), part.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            const bool isFull = errno == ENOSPC || errno == EDQUOT || errno == EFBIG;
            return isFull ? WriteOutcome::diskFull : WriteOutcome::failed;
        }
        part.remove_prefix(static_cast<std::size_t>(count));
    }
    return WriteOutcome::written;
}

std::optional<std::string> PackageOnDisk::contents(std::string head, std::size_t length) const {
    const std::size_t start = head.size();
    std::string bytes = std::move(head);
    bytes.resize(start + length);
    for (std::size_t read = 0; read < length;) {
        const ssize_t count = ::pread(file_.get(), bytes.data() + start + read, length - read,
                                      static_cast<off_t>(read));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return std::nullopt;
        }
        read += static_cast<std::size_t>(count);
    }
    return bytes;
}

PackageVerdict PackageOnDisk::examine(const PackageProof& proof, const std::string& publicKey,
                                      const SignatureCheck& verify) const {
    struct stat info {};
    if (!file_ || ::fstat(file_.get(), &info) != 0) {
        return PackageVerdict::unreadable;
    }
    if (static_cast<std::uint64_t>(info.st_size) != proof.length) {
        return PackageVerdict::wrongLength;
    }
    const auto message =
        contents(signedPreamble(proof.version), static_cast<std::size_t>(proof.length));
    if (!message) {
        return PackageVerdict::unreadable;
    }
    PackageVerdict verdict = PackageVerdict::wrongSignature;
    for (const std::string& signature : proof.signatures) {
        switch (verify(publicKey, *message, signature)) {
        case SignatureVerdict::genuine:
            return PackageVerdict::genuine;
        case SignatureVerdict::unavailable:
            verdict = PackageVerdict::unverifiable;
            break;
        case SignatureVerdict::wrong:
            break;
        }
    }
    return verdict;
}

PackageVerdict PackageOnDisk::seal(const PackageProof& proof, const std::string& publicKey,
                                   const SignatureCheck& verify) {
    const PackageVerdict verdict = examine(proof, publicKey, verify);
    if (verdict != PackageVerdict::genuine) {
        return verdict;
    }
    isSealed_ = ::renameat(folder_.get(), partName().c_str(), folder_.get(), name_.c_str()) == 0;
    return isSealed_ ? PackageVerdict::genuine : PackageVerdict::unreadable;
}

} // namespace tandrel
