#include "Platform/CachedCredentialStore.h"

#include "Services/KeychainService.h"
#include "Support/FakeCredentialStore.h"
#include "Support/ManualMainQueue.h"

#include <gmock/gmock.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using test::FakeCredentialStore;
using test::ManualMainQueue;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::chrono::milliseconds longEnough = 20s;
constexpr std::string_view service = "Service";
const std::vector<CredentialKey> keys{{"Service", "a"}, {"Service", "b"}};

/// Stops the calls of a slow store until it is opened, and knows how many wait.
class Gate {
public:
    void pass() {
        std::unique_lock lock(mutex_);
        ++waiting_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return open_ || admitted_ > 0; });
        admitted_ -= open_ ? 0 : 1;
        --waiting_;
    }
    void open() {
        const std::lock_guard lock(mutex_);
        open_ = true;
        changed_.notify_all();
    }
    void close() {
        const std::lock_guard lock(mutex_);
        open_ = false;
    }
    /// Lets one call through.
    void admitOne() {
        const std::lock_guard lock(mutex_);
        ++admitted_;
        changed_.notify_all();
    }
    void awaitCall() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return waiting_ > 0; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool open_ = true;
    int admitted_ = 0;
    int waiting_ = 0;
};

/// What outlives the slow store: its items, its gate, and whether it still exists.
struct Backing {
    FakeCredentialStore items;
    Gate gate;
};

class SlowStore : public CredentialStore {
public:
    explicit SlowStore(std::shared_ptr<Backing> backing)
        : backing_(std::move(backing)) {}

    CredentialStatus add(std::string_view itemService, std::string_view account,
                         std::string_view value) override {
        backing_->gate.pass();
        return backing_->items.add(itemService, account, value);
    }
    CredentialStatus copyMatching(std::string_view itemService, std::string_view account,
                                  std::string& value) override {
        backing_->gate.pass();
        return backing_->items.copyMatching(itemService, account, value);
    }
    CredentialStatus remove(std::string_view itemService, std::string_view account) override {
        backing_->gate.pass();
        return backing_->items.remove(itemService, account);
    }

private:
    std::shared_ptr<Backing> backing_;
};

class CachedCredentialStoreTest : public testing::Test {
protected:
    CachedCredentialStoreTest()
        : store_(std::make_unique<CachedCredentialStore>(std::make_unique<SlowStore>(backing_),
                                                         queue_)) {}

    ~CachedCredentialStoreTest() override {
        backing_->gate.open();
        store_.reset();
        // The thread of a call that hung goes last.
        while (backing_.use_count() > 1) {
            std::this_thread::yield();
        }
    }

    [[nodiscard]] std::optional<std::string> cached(std::string_view account) const {
        std::string value;
        return store_->copyMatching(service, account, value) == CredentialStatus::success
                   ? std::optional(value)
                   : std::nullopt;
    }

    [[nodiscard]] std::optional<std::string> stored(std::string_view account) const {
        return backing_->items.item(service, account);
    }

    /// What the load came to.
    std::optional<CredentialAccess> loadAll() {
        std::optional<CredentialAccess> result;
        const Handle handle = store_->load(keys, [&](CredentialAccess access) { result = access; });
        queue_.drainUntil([&] { return result.has_value(); });
        return result;
    }

    std::shared_ptr<Backing> backing_ = std::make_shared<Backing>();
    ManualMainQueue queue_;
    std::unique_ptr<CachedCredentialStore> store_;
};

TEST_F(CachedCredentialStoreTest, AnswersFromTheCopyOnceLoaded) {
    backing_->items.put(service, "a", "stored");
    EXPECT_EQ(cached("a"), std::nullopt);
    loadAll();
    EXPECT_EQ(cached("a"), "stored");
    EXPECT_EQ(cached("b"), std::nullopt);
    backing_->items.forgetOperations();
    EXPECT_EQ(cached("a"), "stored");
    EXPECT_TRUE(store_->flush(longEnough));
    EXPECT_THAT(backing_->items.operations(), IsEmpty());
}

TEST_F(CachedCredentialStoreTest, PassesWritesAndDeletesOnInTheirOrder) {
    store_->remove(service, "a");
    store_->add(service, "a", "1");
    store_->add(service, "b", "2");
    store_->remove(service, "a");
    store_->add(service, "a", "3");
    ASSERT_TRUE(store_->flush(longEnough));
    EXPECT_THAT(backing_->items.operations(),
                ElementsAre("remove a", "add a", "add b", "remove a", "add a"));
    EXPECT_EQ(stored("a"), "3");
    EXPECT_EQ(stored("b"), "2");
}

TEST_F(CachedCredentialStoreTest, KeepsTheRulesOfAStore) {
    EXPECT_EQ(store_->remove(service, "a"), CredentialStatus::itemNotFound);
    EXPECT_EQ(store_->add(service, "a", "first"), CredentialStatus::success);
    EXPECT_EQ(store_->add(service, "a", "second"), CredentialStatus::duplicateItem);
    EXPECT_EQ(cached("a"), "first");
    EXPECT_EQ(store_->remove(service, "a"), CredentialStatus::success);
    EXPECT_EQ(cached("a"), std::nullopt);
    std::string untouched = "as it was";
    EXPECT_EQ(store_->copyMatching(service, "a", untouched), CredentialStatus::itemNotFound);
    EXPECT_EQ(untouched, "as it was");
}

TEST_F(CachedCredentialStoreTest, AnEmptyValueIsAnItem) {
    store_->add(service, "a", "");
    EXPECT_EQ(cached("a"), "");
    ASSERT_TRUE(store_->flush(longEnough));
    EXPECT_EQ(stored("a"), "");
}

TEST_F(CachedCredentialStoreTest, ReadsAndWritesDoNotWaitForAStoreThatHangs) {
    backing_->gate.close();
    bool loaded = false;
    const Handle handle = store_->load(keys, [&](CredentialAccess /*access*/) { loaded = true; });
    backing_->gate.awaitCall();
    store_->add(service, "a", "new");
    store_->remove(service, "b");
    EXPECT_EQ(cached("a"), "new");
    EXPECT_EQ(cached("b"), std::nullopt);
    queue_.drain();
    EXPECT_FALSE(loaded);
    EXPECT_THAT(backing_->items.operations(), IsEmpty());
}

TEST_F(CachedCredentialStoreTest, WhatIsWrittenOrDeletedWhileLoadingWinsOverWhatIsRead) {
    backing_->items.put(service, "a", "old a");
    backing_->items.put(service, "b", "old b");
    backing_->gate.close();
    bool loaded = false;
    const Handle handle = store_->load(keys, [&](CredentialAccess /*access*/) { loaded = true; });
    backing_->gate.awaitCall();
    store_->remove(service, "a");
    store_->add(service, "a", "new a");
    store_->remove(service, "b");
    backing_->gate.open();
    ASSERT_TRUE(queue_.drainUntil([&] { return loaded; }));
    EXPECT_EQ(cached("a"), "new a");
    EXPECT_EQ(cached("b"), std::nullopt);
    ASSERT_TRUE(store_->flush(longEnough));
    EXPECT_EQ(stored("a"), "new a");
    EXPECT_EQ(stored("b"), std::nullopt);
}

TEST_F(CachedCredentialStoreTest, WhatWasReadAnswersBeforeTheRestIs) {
    backing_->items.put(service, "a", "early");
    backing_->gate.close();
    const Handle handle = store_->load(keys, [](CredentialAccess /*access*/) {});
    backing_->gate.awaitCall();
    backing_->gate.admitOne();
    while (cached("a") == std::nullopt) {
        std::this_thread::yield();
    }
    EXPECT_EQ(cached("a"), "early");
}

TEST_F(CachedCredentialStoreTest, AFailedLoadIsAbsentAndDeletesNothing) {
    backing_->items.put(service, "a", "kept");
    backing_->items.setAvailable(false);
    EXPECT_EQ(loadAll(), CredentialAccess::unreadable);
    EXPECT_EQ(cached("a"), std::nullopt);
    EXPECT_EQ(stored("a"), "kept");
    EXPECT_THAT(backing_->items.operations(), ElementsAre("read a", "read b"));
}

TEST_F(CachedCredentialStoreTest, ALoadTellsWhetherWhatItMissedMayBeThere) {
    backing_->items.put(service, "b", "there");
    EXPECT_EQ(loadAll(), CredentialAccess::readable) << "an item that is missing is no failure";
    backing_->items.failAfter(1);
    EXPECT_EQ(loadAll(), CredentialAccess::unreadable) << "one of two";
    backing_->items.failAfter(0, CredentialStatus::noStore);
    EXPECT_EQ(loadAll(), CredentialAccess::noStore);
}

TEST_F(CachedCredentialStoreTest, WhatTheStoreRefusedIsWrittenWhenItIsToldTo) {
    backing_->items.put(service, "b", "old");
    backing_->items.failAfter(0, CredentialStatus::noStore);
    store_->add(service, "a", "1");
    store_->remove(service, "a");
    store_->add(service, "a", "2");
    store_->remove(service, "b");
    ASSERT_TRUE(store_->flush(longEnough));
    backing_->items.setAvailable(true);
    backing_->items.forgetOperations();
    store_->writeAgain();
    ASSERT_TRUE(store_->flush(longEnough));
    EXPECT_EQ(stored("a"), "2");
    EXPECT_EQ(stored("b"), std::nullopt);
    EXPECT_THAT(backing_->items.operations(), ElementsAre("add a", "remove b"));
    store_->writeAgain();
    ASSERT_TRUE(store_->flush(longEnough));
    EXPECT_EQ(backing_->items.operationCount(), 2U) << "nothing twice";
}

TEST_F(CachedCredentialStoreTest, WhatTheStoreHasTakenMeanwhileIsNotWrittenAgain) {
    backing_->items.setAvailable(false);
    store_->add(service, "a", "1");
    ASSERT_TRUE(store_->flush(longEnough));
    backing_->items.setAvailable(true);
    store_->remove(service, "a");
    ASSERT_TRUE(store_->flush(longEnough));
    store_->writeAgain();
    ASSERT_TRUE(store_->flush(longEnough));
    EXPECT_THAT(backing_->items.operations(), ElementsAre("add a", "remove a"));
}

TEST_F(CachedCredentialStoreTest, WhatIsRefusedAgainIsStillRemembered) {
    backing_->items.setAvailable(false);
    store_->add(service, "a", "1");
    store_->writeAgain();
    ASSERT_TRUE(store_->flush(longEnough));
    backing_->items.setAvailable(true);
    store_->writeAgain();
    ASSERT_TRUE(store_->flush(longEnough));
    EXPECT_EQ(stored("a"), "1");
}

TEST_F(CachedCredentialStoreTest, ALaterLoadFindsWhatAnEarlierOneCouldNotRead) {
    backing_->items.put(service, "a", "kept");
    backing_->items.setAvailable(false);
    loadAll();
    backing_->items.setAvailable(true);
    loadAll();
    EXPECT_EQ(cached("a"), "kept");
}

TEST_F(CachedCredentialStoreTest, AnItemThatCouldNotBeReadIsStillDeletedWhenAskedTo) {
    backing_->items.put(service, "a", "old");
    backing_->items.failAfter(0);
    loadAll();
    backing_->items.setAvailable(true);
    EXPECT_EQ(store_->remove(service, "a"), CredentialStatus::itemNotFound);
    ASSERT_TRUE(store_->flush(longEnough));
    EXPECT_EQ(stored("a"), std::nullopt);
}

TEST_F(CachedCredentialStoreTest, AddingReplacesAnItemThatTheCopyDidNotKnow) {
    backing_->items.put(service, "a", "foreign");
    EXPECT_EQ(store_->add(service, "a", "ours"), CredentialStatus::success);
    ASSERT_TRUE(store_->flush(longEnough));
    EXPECT_EQ(stored("a"), "ours");
}

TEST_F(CachedCredentialStoreTest, WithoutAStoreSecretsLiveInMemoryForThisRun) {
    backing_->items.setAvailable(false);
    loadAll();
    KeychainService keychain(*store_);
    EXPECT_TRUE(keychain.save("token", KeychainService::Key::accessToken));
    EXPECT_TRUE(keychain.save("newer", KeychainService::Key::accessToken));
    EXPECT_EQ(keychain.retrieve(KeychainService::Key::accessToken), "newer");
    EXPECT_TRUE(store_->flush(longEnough));
    EXPECT_EQ(keychain.retrieve(KeychainService::Key::accessToken), "newer");
    EXPECT_TRUE(keychain.remove(KeychainService::Key::accessToken));
    EXPECT_EQ(keychain.retrieve(KeychainService::Key::accessToken), std::nullopt);
    EXPECT_EQ(backing_->items.itemCount(), 0U);
}

TEST_F(CachedCredentialStoreTest, TheCompletionComesOnceOnTheMainThreadAndNotFromInsideTheCall) {
    const auto mainThread = std::this_thread::get_id();
    int calls = 0;
    std::thread::id thread;
    const Handle handle = store_->load(keys, [&](CredentialAccess /*access*/) {
        ++calls;
        thread = std::this_thread::get_id();
    });
    EXPECT_EQ(calls, 0);
    ASSERT_TRUE(queue_.drainUntil([&] { return calls > 0; }));
    store_->flush(longEnough);
    queue_.drain();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(thread, mainThread);
}

TEST_F(CachedCredentialStoreTest, DestroyingTheHandleSilencesTheCompletionButLoadsAllTheSame) {
    backing_->items.put(service, "b", "loaded");
    int calls = 0;
    Handle handle = store_->load(keys, [&](CredentialAccess /*access*/) { ++calls; });
    handle.reset();
    while (cached("b") == std::nullopt) {
        std::this_thread::yield();
    }
    ASSERT_TRUE(queue_.drainUntil([&] { return cached("b") == "loaded"; }));
    EXPECT_EQ(calls, 0);
}

TEST_F(CachedCredentialStoreTest, ACompletionMayDestroyItsHandle) {
    Handle handle;
    bool done = false;
    handle = store_->load(keys, [&](CredentialAccess /*access*/) {
        handle.reset();
        done = true;
    });
    ASSERT_TRUE(queue_.drainUntil([&] { return done; }));
}

TEST_F(CachedCredentialStoreTest, FlushGivesUpAtItsLimit) {
    backing_->gate.close();
    store_->add(service, "a", "1");
    EXPECT_FALSE(store_->flush(5ms));
    backing_->gate.open();
    EXPECT_TRUE(store_->flush(longEnough));
    EXPECT_EQ(stored("a"), "1");
}

TEST_F(CachedCredentialStoreTest, FlushDoesNotWaitForALoadWhenNothingIsLeftToWrite) {
    backing_->gate.close();
    const Handle handle = store_->load(keys, [](CredentialAccess /*access*/) {});
    backing_->gate.awaitCall();
    EXPECT_TRUE(store_->flush(longEnough));
}

TEST_F(CachedCredentialStoreTest, FlushSeesTheWritesDoneThoughALaterLoadHangs) {
    backing_->gate.close();
    store_->add(service, "a", "1");
    const Handle handle = store_->load(keys, [](CredentialAccess /*access*/) {});
    backing_->gate.awaitCall();
    backing_->gate.admitOne();
    EXPECT_TRUE(store_->flush(longEnough));
    EXPECT_EQ(stored("a"), "1");
}

TEST_F(CachedCredentialStoreTest, ItGoesWhileTheStoreHangsAndNothingIsCalledAfterwards) {
    backing_->gate.close();
    bool loaded = false;
    const Handle handle = store_->load(keys, [&](CredentialAccess /*access*/) { loaded = true; });
    backing_->gate.awaitCall();
    store_->add(service, "a", "never written");
    store_.reset();
    EXPECT_GT(backing_.use_count(), 1) << "the call still hangs";
    backing_->gate.open();
    while (backing_.use_count() > 1) {
        std::this_thread::yield();
    }
    EXPECT_EQ(queue_.size(), 0U);
    EXPECT_FALSE(loaded);
    EXPECT_EQ(stored("a"), std::nullopt);
}

} // namespace
} // namespace tandrel
