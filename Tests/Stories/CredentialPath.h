#pragma once

#include "Outage.h"
#include "Platform/CachedCredentialStore.h"
#include "Support/FakeCredentialStore.h"
#include "Support/ManualMainQueue.h"
#include "Views/MenuBarContentController.h"

#include <memory>

namespace tandrel::test {

/// The way to a store of credentials that may fail: straight, or as in the program through a copy
/// in memory whose store is called on a thread of its own. Main thread.
class CredentialPath {
public:
    /// All must outlive this.
    CredentialPath(FakeCredentialStore& vault, const Outage& outage, NthCall& nth,
                   ManualMainQueue& mainQueue);
    CredentialPath(const CredentialPath&) = delete;
    CredentialPath& operator=(const CredentialPath&) = delete;
    /// Lets a call that hangs end, and waits for it.
    ~CredentialPath();

    [[nodiscard]] CredentialStore& store();
    /// For the content; empty on the straight way.
    [[nodiscard]] MenuBarContentController::CredentialLoader loader();
    /// The program ends and starts again. A call that hung has ended by then.
    void restart();
    /// A keyring has come back, or has answered at last: what it missed is passed on.
    void comeBack();

    /// Waits until the other thread has done what it was asked for, or hangs, and delivers what it
    /// says; false when it does neither.
    [[nodiscard]] bool settle();
    [[nodiscard]] bool hangs() const;

private:
    void open();
    void close();
    [[nodiscard]] std::shared_ptr<Gate> gate() const;
    [[nodiscard]] bool isIdle();

    FakeCredentialStore& vault_;
    const Outage& outage_;
    NthCall& nth_;
    ManualMainQueue& mainQueue_;
    std::unique_ptr<FailingCredentialStore> straight_;
    std::unique_ptr<CachedCredentialStore> copy_;
    bool isLoading_ = false;
};

} // namespace tandrel::test
