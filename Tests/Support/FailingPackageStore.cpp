#include "Support/FailingPackageStore.h"

#include <utility>
#include <vector>

namespace tandrel::test {

class FailingPackageStore::File : public PackageFile {
public:
    File(std::unique_ptr<PackageFile> inner, FailingPackageStore& store)
        : inner_(std::move(inner))
        , store_(store) {}

    void append(std::string part, std::function<void(WriteOutcome)> done) override {
        if (!store_.failure_.append || !store_.nth_.fails()) {
            inner_->append(std::move(part), std::move(done));
            return;
        }
        calls_.push_back(std::make_unique<BadlyAnsweredCall<WriteOutcome>>(
            store_.clock_, *store_.failure_.append, std::move(done),
            [this, &part](auto right) -> Handle {
                inner_->append(std::move(part), std::move(right));
                return nullptr;
            }));
    }

    void seal(const PackageProof& proof,
              std::function<void(PackageVerdict, const std::string& path)> done) override {
        if (!store_.failure_.seal || !store_.nth_.fails()) {
            inner_->seal(proof, std::move(done));
            return;
        }
        const auto path = std::make_shared<std::string>();
        calls_.push_back(std::make_unique<BadlyAnsweredCall<PackageVerdict>>(
            store_.clock_, *store_.failure_.seal,
            [path, done = std::move(done)](PackageVerdict verdict) { done(verdict, *path); },
            [this, &proof, path](auto right) -> Handle {
                inner_->seal(proof, [path, right](PackageVerdict verdict, const std::string& at) {
                    *path = at;
                    right(verdict);
                });
                return nullptr;
            }));
    }

private:
    std::unique_ptr<PackageFile> inner_;
    FailingPackageStore& store_;
    std::vector<Handle> calls_;
};

std::unique_ptr<PackageFile> FailingPackageStore::create(const std::string& version) {
    return std::make_unique<File>(inner_.create(version), *this);
}

SignatureCheck failingSignatureCheck(SignatureCheck check, NthCall& nth, SignatureVerdict verdict) {
    return [check = std::move(check), &nth, verdict](
               std::string_view publicKey, std::string_view message, std::string_view signature) {
        return nth.fails() ? verdict : check(publicKey, message, signature);
    };
}

} // namespace tandrel::test
