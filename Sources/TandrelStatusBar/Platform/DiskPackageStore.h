#pragma once

#include "Foundation/SerialWorker.h"
#include "Platform/MainQueuePort.h"
#include "Platform/PackageSignature.h"
#include "Platform/PackageStore.h"

#include <chrono>
#include <memory>
#include <string>

namespace tandrel {

/// Packages in a folder that is this user's alone (mode 0700, files 0600). A file has the ending
/// ".part" until it is found genuine. All disk work is done on a thread of its own, which starts
/// with the first file.
class DiskPackageStore : public PackageStore {
public:
    struct Options {
        /// Made when it is needed, with those above it.
        std::string folder;
        /// 32 bytes.
        std::string publicKey;
        SignatureCheck verify;
    };

    /// Below the user's folder for caches.
    [[nodiscard]] static std::string defaultFolder();

    /// The queue must outlive the store. Disk work that outlives both tells nobody.
    DiskPackageStore(Options options, MainQueue& mainQueue);
    ~DiskPackageStore() override;

    [[nodiscard]] std::unique_ptr<PackageFile> create(const std::string& version) override;

    /// Waits until all disk work has been done, the removal of what was given up included, but at
    /// most for `limit`; whether it has.
    bool flush(std::chrono::milliseconds limit);

private:
    class File;

    Options options_;
    std::shared_ptr<MainQueuePort> mainQueue_;
    std::unique_ptr<SerialWorker> worker_;
};

} // namespace tandrel
