#include "CredentialPath.h"

#include "Services/KeychainService.h"

#include <chrono>
#include <utility>

namespace tandrel::test {

CredentialPath::CredentialPath(FakeCredentialStore& vault, const Outage& outage, NthCall& nth,
                               ManualMainQueue& mainQueue)
    : vault_(vault)
    , outage_(outage)
    , nth_(nth)
    , mainQueue_(mainQueue) {
    open();
}

CredentialPath::~CredentialPath() {
    close();
}

void CredentialPath::open() {
    auto failing = std::make_unique<FailingCredentialStore>(vault_, nth_, outage_.credentials);
    if (outage_.hasCredentialCopy) {
        copy_ = std::make_unique<CachedCredentialStore>(std::move(failing), mainQueue_);
    } else {
        straight_ = std::move(failing);
    }
}

void CredentialPath::close() {
    if (gate()) {
        gate()->open();
    }
    if (copy_) {
        // Nothing of the other thread may outlive the vault; this job is behind all others.
        copy_->writeAgain();
        copy_->flush(std::chrono::seconds(20));
    }
}

void CredentialPath::restart() {
    close();
    isLoading_ = false;
    open();
}

CredentialStore& CredentialPath::store() {
    return copy_ ? static_cast<CredentialStore&>(*copy_) : *straight_;
}

MenuBarContentController::CredentialLoader CredentialPath::loader() {
    if (!copy_) {
        return {};
    }
    return [this](std::function<void(CredentialAccess)> done) {
        isLoading_ = true;
        return copy_->load(KeychainService::items(),
                           [this, done = std::move(done)](CredentialAccess access) {
                               isLoading_ = false;
                               done(access);
                           });
    };
}

void CredentialPath::comeBack() {
    if (!copy_) {
        return;
    }
    if (gate()) {
        gate()->open();
    }
    copy_->writeAgain();
    if (settle() && gate()) {
        gate()->close();
    }
}

bool CredentialPath::settle() {
    return !copy_ || mainQueue_.drainUntil([this] { return hangs() || isIdle(); });
}

bool CredentialPath::hangs() const {
    return gate() && gate()->isHolding();
}

std::shared_ptr<Gate> CredentialPath::gate() const {
    return outage_.credentials ? outage_.credentials->gate : nullptr;
}

bool CredentialPath::isIdle() {
    return !isLoading_ && copy_->flush(std::chrono::milliseconds::zero());
}

} // namespace tandrel::test
