#pragma once

#include "Foundation/FileDescriptor.h"
#include "Platform/PackageSignature.h"
#include "Platform/PackageStore.h"

#include <optional>
#include <string>

namespace tandrel {

/// One package's file. Everything may block. Any thread, one at a time.
class PackageOnDisk {
public:
    PackageOnDisk(std::string folder, const std::string& version);
    PackageOnDisk(const PackageOnDisk&) = delete;
    PackageOnDisk& operator=(const PackageOnDisk&) = delete;
    /// Removes the file unless it was sealed.
    ~PackageOnDisk();

    /// Removes what the folder holds, and makes the file.
    void open();
    [[nodiscard]] WriteOutcome append(std::string_view part);
    /// Checks the file and, when it is genuine, gives it its name.
    [[nodiscard]] PackageVerdict seal(const PackageProof& proof, const std::string& publicKey,
                                      const SignatureCheck& verify);
    [[nodiscard]] std::string path() const { return folderPath_ + '/' + name_; }

private:
    [[nodiscard]] std::string partName() const { return name_ + ".part"; }
    /// `head` and then the whole file, or nothing when it cannot be read.
    [[nodiscard]] std::optional<std::string> contents(std::string head, std::size_t length) const;
    [[nodiscard]] PackageVerdict examine(const PackageProof& proof, const std::string& publicKey,
                                         const SignatureCheck& verify) const;

    std::string folderPath_;
    std::string name_;
    FileDescriptor folder_;
    FileDescriptor file_;
    bool isSealed_ = false;
};

} // namespace tandrel
