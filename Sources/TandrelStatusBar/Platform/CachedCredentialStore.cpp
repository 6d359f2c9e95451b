#include "Platform/CachedCredentialStore.h"

#include "Platform/MainQueuePort.h"

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <utility>

namespace tandrel {

namespace {

using Completion = CachedCredentialStore::LoadCompletion;

/// Owns the completion of a load: destroyed on the main thread, it silences it.
class Load : public Operation {
public:
    explicit Load(std::shared_ptr<Completion> completion)
        : completion_(std::move(completion)) {}

private:
    std::shared_ptr<Completion> completion_;
};

CredentialAccess accessOf(CredentialStatus status) {
    switch (status) {
    case CredentialStatus::unavailable:
        return CredentialAccess::unreadable;
    case CredentialStatus::noStore:
        return CredentialAccess::noStore;
    case CredentialStatus::success:
    case CredentialStatus::itemNotFound:
    case CredentialStatus::duplicateItem:
        break;
    }
    return CredentialAccess::readable;
}

} // namespace

/// Kept alive by the worker's jobs too: one that hangs may outlive the store.
struct CachedCredentialStore::Shared {
    Shared(std::unique_ptr<CredentialStore> slowStore, MainQueue& queue)
        : store(std::move(slowStore))
        , mainQueue(queue) {}

    // Worker's thread only.
    const std::unique_ptr<CredentialStore> store;
    /// The keys whose latest write or delete did not reach the store.
    std::set<CredentialKey> unwritten;

    std::mutex mutex;
    /// What was added, removed (no value) or read here; a key that is missing is not known.
    std::map<CredentialKey, std::optional<std::string>> copy;
    std::size_t pendingWrites = 0;
    std::condition_variable written;
    /// Closed once the owner has gone.
    MainQueuePort mainQueue;

    CredentialAccess read(const CredentialKey& key) {
        std::string value;
        const CredentialStatus status = store->copyMatching(key.service, key.account, value);
        if (status == CredentialStatus::success) {
            const std::lock_guard lock(mutex);
            copy.emplace(key, std::move(value)); // does nothing when the key is known meanwhile
        }
        return accessOf(status);
    }

    void add(const CredentialKey& key, const std::string& value) {
        CredentialStatus status = store->add(key.service, key.account, value);
        if (status == CredentialStatus::duplicateItem) {
            // Left behind by another program, or by a delete that failed.
            store->remove(key.service, key.account);
            status = store->add(key.service, key.account, value);
        }
        note(key, status);
    }

    void remove(const CredentialKey& key) { note(key, store->remove(key.service, key.account)); }

    void note(const CredentialKey& key, CredentialStatus status) {
        if (accessOf(status) == CredentialAccess::readable) {
            unwritten.erase(key);
        } else {
            unwritten.insert(key);
        }
    }

    void writeAgain() {
        const std::set<CredentialKey> keys = unwritten;
        for (const CredentialKey& key : keys) {
            std::optional<std::string> value;
            {
                const std::lock_guard lock(mutex);
                value = copy[key];
            }
            if (value) {
                add(key, *value);
            } else {
                remove(key);
            }
        }
    }
};

CachedCredentialStore::CachedCredentialStore(std::unique_ptr<CredentialStore> store,
                                             MainQueue& mainQueue)
    : shared_(std::make_shared<Shared>(std::move(store), mainQueue)) {}

CachedCredentialStore::~CachedCredentialStore() {
    shared_->mainQueue.close();
}

CredentialStatus CachedCredentialStore::add(std::string_view service, std::string_view account,
                                            std::string_view value) {
    CredentialKey key{std::string(service), std::string(account)};
    {
        const std::lock_guard lock(shared_->mutex);
        std::optional<std::string>& item = shared_->copy[key];
        if (item) {
            return CredentialStatus::duplicateItem;
        }
        item = value;
    }
    postWrite([key = std::move(key), value = std::string(value)](Shared& shared) {
        shared.add(key, value);
    });
    return CredentialStatus::success;
}

CredentialStatus CachedCredentialStore::copyMatching(std::string_view service,
                                                     std::string_view account, std::string& value) {
    const CredentialKey key{std::string(service), std::string(account)};
    const std::lock_guard lock(shared_->mutex);
    const auto found = shared_->copy.find(key);
    if (found == shared_->copy.end() || !found->second) {
        return CredentialStatus::itemNotFound;
    }
    value = *found->second;
    return CredentialStatus::success;
}

CredentialStatus CachedCredentialStore::remove(std::string_view service, std::string_view account) {
    CredentialKey key{std::string(service), std::string(account)};
    bool wasThere = false;
    {
        const std::lock_guard lock(shared_->mutex);
        wasThere = std::exchange(shared_->copy[key], std::nullopt).has_value();
    }
    // Passed on even if the copy knows of none: the item may be one that could not be read.
    postWrite([key = std::move(key)](Shared& shared) { shared.remove(key); });
    return wasThere ? CredentialStatus::success : CredentialStatus::itemNotFound;
}

Handle CachedCredentialStore::load(std::vector<CredentialKey> keys, LoadCompletion completion) {
    auto owned = std::make_shared<Completion>(std::move(completion));
    worker_.post([shared = shared_, keys = std::move(keys), weak = std::weak_ptr(owned)] {
        auto access = CredentialAccess::readable;
        for (const CredentialKey& key : keys) {
            access = std::max(access, shared->read(key));
        }
        shared->mainQueue.post([weak, access] {
            if (const auto held = weak.lock()) {
                (*held)(access);
            }
        });
    });
    return std::make_unique<Load>(std::move(owned));
}

void CachedCredentialStore::writeAgain() {
    postWrite([](Shared& shared) { shared.writeAgain(); });
}

bool CachedCredentialStore::flush(std::chrono::milliseconds limit) {
    std::unique_lock lock(shared_->mutex);
    return shared_->written.wait_for(lock, limit, [this] { return shared_->pendingWrites == 0; });
}

void CachedCredentialStore::postWrite(std::function<void(Shared&)> write) {
    {
        const std::lock_guard lock(shared_->mutex);
        ++shared_->pendingWrites;
    }
    worker_.post([shared = shared_, write = std::move(write)] {
        write(*shared);
        const std::lock_guard lock(shared->mutex);
        --shared->pendingWrites;
        shared->written.notify_all();
    });
}

} // namespace tandrel
