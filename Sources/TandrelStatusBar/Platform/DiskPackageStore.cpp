#include "Platform/DiskPackageStore.h"

#include "Foundation/Lifetime.h"
#include "Platform/LogFolder.h"
#include "Platform/PackageOnDisk.h"

#include <cstdlib>
#include <utility>

namespace tandrel {

namespace {

std::string cacheFolder() {
    const char* const variable = std::getenv("XDG_CACHE_HOME");
    return variable != nullptr && variable[0] == '/' ? std::string(variable)
                                                     : homeDirectory() + "/.cache";
}

} // namespace

/// The main thread's side of a file: what it asks for is done by the worker, in order.
class DiskPackageStore::File : public PackageFile {
public:
    File(DiskPackageStore& store, const std::string& version)
        : worker_(*store.worker_)
        , mainQueue_(store.mainQueue_)
        , publicKey_(store.options_.publicKey)
        , verify_(store.options_.verify)
        , disk_(std::make_shared<PackageOnDisk>(store.options_.folder, version)) {
        worker_.post([disk = disk_] { disk->open(); });
    }

    ~File() override {
        // The last to hold it removes it: that is to be the worker.
        worker_.post([disk = std::move(disk_)]() mutable { disk.reset(); });
    }

    void append(std::string part, std::function<void(WriteOutcome)> done) override {
        worker_.post([disk = disk_, part = std::move(part), queue = mainQueue_,
                      done = lifetime_.guard(std::move(done))] {
            const WriteOutcome outcome = disk->append(part);
            queue->post([done, outcome]() mutable { done(outcome); });
        });
    }

    void seal(const PackageProof& proof,
              std::function<void(PackageVerdict, const std::string& path)> done) override {
        worker_.post([disk = disk_, proof, key = publicKey_, verify = verify_, queue = mainQueue_,
                      done = lifetime_.guard(std::move(done))] {
            const PackageVerdict verdict = disk->seal(proof, key, verify);
            queue->post([done, verdict, path = disk->path()]() mutable { done(verdict, path); });
        });
    }

private:
    SerialWorker& worker_;
    std::shared_ptr<MainQueuePort> mainQueue_;
    const std::string publicKey_;
    const SignatureCheck verify_;
    std::shared_ptr<PackageOnDisk> disk_;
    Lifetime lifetime_;
};

std::string DiskPackageStore::defaultFolder() {
    return cacheFolder() + "/quorvane-tandrel/updates";
}

DiskPackageStore::DiskPackageStore(Options options, MainQueue& mainQueue)
    : options_(std::move(options))
    , mainQueue_(std::make_shared<MainQueuePort>(mainQueue)) {}

DiskPackageStore::~DiskPackageStore() {
    mainQueue_->close();
}

std::unique_ptr<PackageFile> DiskPackageStore::create(const std::string& version) {
    if (!worker_) {
        worker_ = std::make_unique<SerialWorker>();
    }
    return std::make_unique<File>(*this, version);
}

bool DiskPackageStore::flush(std::chrono::milliseconds limit) {
    return !worker_ || worker_->flush(limit);
}

} // namespace tandrel
