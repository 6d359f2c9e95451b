#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tandrel {

/// What a package has to be before anything but this program may see it.
struct PackageProof {
    std::string version;
    /// Bytes.
    std::uint64_t length = 0;
    /// 64 bytes each; one that is genuine is enough.
    std::vector<std::string> signatures;

    friend bool operator==(const PackageProof&, const PackageProof&) = default;
};

/// What became of the check of a package.
enum class PackageVerdict {
    genuine,
    wrongLength,
    wrongSignature,
    /// The system has nothing to check signatures with.
    unverifiable,
    /// The disk does not give back what it took, or does not let the package have its name.
    unreadable,
};

/// What became of bytes on their way to the disk.
enum class WriteOutcome { written, diskFull, failed };

/// A package that is being downloaded. Destroying it silences what it has yet to call, and removes
/// what is on the disk unless it was found genuine. Main thread; the disk is dealt with on another.
class PackageFile {
public:
    PackageFile() = default;
    PackageFile(const PackageFile&) = delete;
    PackageFile& operator=(const PackageFile&) = delete;
    virtual ~PackageFile() = default;

    /// Appends `part`; `done` is called once, later.
    virtual void append(std::string part, std::function<void(WriteOutcome)> done) = 0;

    /// Checks what was appended. A genuine package is given its final name, which `done` gets; any
    /// other is removed. `done` is called once, later.
    virtual void seal(const PackageProof& proof,
                      std::function<void(PackageVerdict, const std::string& path)> done) = 0;
};

/// Where downloaded packages lie until they are installed. Main thread.
class PackageStore {
public:
    PackageStore() = default;
    PackageStore(const PackageStore&) = delete;
    PackageStore& operator=(const PackageStore&) = delete;
    virtual ~PackageStore() = default;

    /// A new, empty file for the package of `version`, in the place of all earlier ones. That it
    /// could not be made is told when something is appended.
    [[nodiscard]] virtual std::unique_ptr<PackageFile> create(const std::string& version) = 0;
};

} // namespace tandrel
