#pragma once

#include "Foundation/Handle.h"
#include "Foundation/SerialWorker.h"
#include "Platform/CredentialStore.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tandrel {

class MainQueue;

/// A credential store that answers from a copy in memory, at once, and passes writes and deletes in
/// their order to another store, which may take minutes (a locked keyring asks its user) or never
/// answer at all. What that store refuses lives in memory for this run only, unless it takes it
/// later.
///
/// Main thread. The other store is called on a thread of its own, one call at a time, and destroyed
/// on whichever thread is the last to use it.
class CachedCredentialStore : public CredentialStore {
public:
    /// The queue must outlive this object.
    CachedCredentialStore(std::unique_ptr<CredentialStore> store, MainQueue& mainQueue);
    /// Waits for nothing: what `flush()` did not see written may be lost.
    ~CachedCredentialStore() override;

    CredentialStatus add(std::string_view service, std::string_view account,
                         std::string_view value) override;
    /// `itemNotFound` also for an item that `load()` has yet to read, or could not.
    CredentialStatus copyMatching(std::string_view service, std::string_view account,
                                  std::string& value) override;
    CredentialStatus remove(std::string_view service, std::string_view account) override;

    using LoadCompletion = std::function<void(CredentialAccess access)>;

    /// Reads the items of `keys` into the copy, then calls `completion` on the main thread with
    /// what access there was to the worst of them. What was added or removed here, before or
    /// meanwhile, wins over what is read; an item that cannot be read is absent, and stays in the
    /// other store. Destroying the handle silences the completion only.
    [[nodiscard]] Handle load(std::vector<CredentialKey> keys, LoadCompletion completion);

    /// Passes on once more what did not reach the other store: it has come, or come back.
    void writeAgain();

    /// Waits until the other store has seen every write and delete, for at most `limit`; whether it
    /// has. Returns at once when there is none left, even if a `load()` hangs.
    bool flush(std::chrono::milliseconds limit);

private:
    struct Shared;
    void postWrite(std::function<void(Shared&)> write);

    std::shared_ptr<Shared> shared_;
    SerialWorker worker_;
};

} // namespace tandrel
