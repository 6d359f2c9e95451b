#include "Support/FakePackageStore.h"

#include <utility>

namespace tandrel::test {

class FakePackageStore::Entry : public PackageFile {
public:
    Entry(FakePackageStore& store, std::shared_ptr<File> file)
        : store_(store)
        , waiting_(store.waiting_)
        , file_(std::move(file)) {}

    ~Entry() override { file_->isGivenUp = true; }

    void append(std::string part, std::function<void(WriteOutcome)> done) override {
        wait([this, part = std::move(part), done = std::move(done)] {
            if (store_.writeOutcome == WriteOutcome::written) {
                file_->contents += part;
            }
            done(store_.writeOutcome);
        });
    }

    void seal(const PackageProof& proof,
              std::function<void(PackageVerdict, const std::string&)> done) override {
        file_->proof = proof;
        wait([this, done = std::move(done)] { done(store_.verdict, path); });
    }

private:
    void wait(std::function<void()> action) {
        waiting_->push_back([file = file_, action = std::move(action)] {
            if (!file->isGivenUp) {
                action();
            }
        });
    }

    FakePackageStore& store_;
    std::shared_ptr<std::deque<std::function<void()>>> waiting_;
    std::shared_ptr<File> file_;
};

std::unique_ptr<PackageFile> FakePackageStore::create(const std::string& version) {
    files_.push_back(std::make_shared<File>(File{version, {}, {}, false}));
    return std::make_unique<Entry>(*this, files_.back());
}

bool FakePackageStore::proceed() {
    if (waiting_->empty()) {
        return false;
    }
    const auto action = std::move(waiting_->front());
    waiting_->pop_front();
    action();
    return true;
}

} // namespace tandrel::test
