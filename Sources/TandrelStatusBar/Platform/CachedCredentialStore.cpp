#include "Platform/CachedCredentialStore.h"

#include "Platform/MainQueue.h"

#include <condition_variable>
#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

namespace tandrel {

namespace {

using Completion = std::function<void()>;

/// Owns the completion of a load: destroyed on the main thread, it silences it.
class Load : public Operation {
public:
    explicit Load(std::shared_ptr<Completion> completion)
        : completion_(std::move(completion)) {}

private:
    std::shared_ptr<Completion> completion_;
};

} // namespace

/// Kept alive by the worker's jobs too: one that hangs may outlive the store.
struct CachedCredentialStore::Shared {
    Shared(std::unique_ptr<CredentialStore> slowStore, MainQueue& queue)
        : store(std::move(slowStore))
        , mainQueue(&queue) {}

    /// Worker's thread only.
    const std::unique_ptr<CredentialStore> store;

    std::mutex mutex;
    /// What was added, removed (no value) or read here; a key that is missing is not known.
    std::map<CredentialKey, std::optional<std::string>> copy;
    std::size_t pendingWrites = 0;
    std::condition_variable written;
    /// Null once the owner has gone.
    MainQueue* mainQueue;

    void read(const CredentialKey& key) {
        std::string value;
        if (store->copyMatching(key.service, key.account, value) == CredentialStatus::success) {
            const std::lock_guard lock(mutex);
            copy.emplace(key, std::move(value)); // does nothing when the key is known meanwhile
        }
    }

    void postToMain(std::function<void()> action) {
        const std::lock_guard lock(mutex);
        if (mainQueue != nullptr) {
            mainQueue->post(std::move(action));
        }
    }
};

CachedCredentialStore::CachedCredentialStore(std::unique_ptr<CredentialStore> store,
                                             MainQueue& mainQueue)
    : shared_(std::make_shared<Shared>(std::move(store), mainQueue)) {}

CachedCredentialStore::~CachedCredentialStore() {
    const std::lock_guard lock(shared_->mutex);
    shared_->mainQueue = nullptr;
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
    postWrite([key = std::move(key), value = std::string(value)](CredentialStore& store) {
        if (store.add(key.service, key.account, value) == CredentialStatus::duplicateItem) {
            // Left behind by another program, or by a delete that failed.
            store.remove(key.service, key.account);
            store.add(key.service, key.account, value);
        }
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
    postWrite(
        [key = std::move(key)](CredentialStore& store) { store.remove(key.service, key.account); });
    return wasThere ? CredentialStatus::success : CredentialStatus::itemNotFound;
}

Handle CachedCredentialStore::load(std::vector<CredentialKey> keys,
                                   std::function<void()> completion) {
    auto owned = std::make_shared<Completion>(std::move(completion));
    worker_.post([shared = shared_, keys = std::move(keys), weak = std::weak_ptr(owned)] {
        for (const CredentialKey& key : keys) {
            shared->read(key);
        }
        shared->postToMain([weak] {
            if (const auto held = weak.lock()) {
                (*held)();
            }
        });
    });
    return std::make_unique<Load>(std::move(owned));
}

bool CachedCredentialStore::flush(std::chrono::milliseconds limit) {
    std::unique_lock lock(shared_->mutex);
    return shared_->written.wait_for(lock, limit, [this] { return shared_->pendingWrites == 0; });
}

void CachedCredentialStore::postWrite(std::function<void(CredentialStore&)> write) {
    {
        const std::lock_guard lock(shared_->mutex);
        ++shared_->pendingWrites;
    }
    worker_.post([shared = shared_, write = std::move(write)] {
        write(*shared->store);
        const std::lock_guard lock(shared->mutex);
        --shared->pendingWrites;
        shared->written.notify_all();
    });
}

} // namespace tandrel
