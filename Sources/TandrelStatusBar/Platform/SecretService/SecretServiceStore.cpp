#include "Platform/SecretService/SecretServiceStore.h"

#include "Foundation/Utf8.h"
#include "Platform/GLib/ContextScope.h"
#include "Platform/GLib/GLibPointers.h"
#include "Platform/GLib/SessionBus.h"
#include "Platform/SecretService/SecretValuePointer.h"

#include <libsecret/secret.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tandrel {

namespace {

using glib::ObjectPointer;
using std::chrono::steady_clock;

/// After a prompt was dismissed none comes for this long. Signing in is six operations in a row,
/// which would otherwise ask six times.
constexpr std::chrono::seconds quietAfterDismissal{10};

/// How often an operation is begun that finds items which are gone by its next step. Each time
/// another process was quicker, which has come a step further by that.
constexpr int attemptsAtItems = 10;

/// The schema's name is stored with an item but not searched for: an item with our two attributes
/// is ours, whichever tool wrote it, and is replaced instead of doubled.
const SecretSchema* schema() {
    static const SecretSchema value = [] {
        SecretSchema made{};
        made.name = "com.quorvane.Tandrel";
        made.flags = SECRET_SCHEMA_DONT_MATCH_NAME;
        made.attributes[0] = {"service", SECRET_SCHEMA_ATTRIBUTE_STRING};
        made.attributes[1] = {"account", SECRET_SCHEMA_ATTRIBUTE_STRING};
        return made;
    }();
    return &value;
}

/// The attributes that an item is found by.
class Attributes {
public:
    Attributes(std::string_view service, std::string_view account)
        : table_(secret_attributes_build(schema(), "service", std::string(service).c_str(),
                                         "account", std::string(account).c_str(), nullptr)) {}

    [[nodiscard]] GHashTable* get() const { return table_.get(); }

private:
    struct Unref {
        void operator()(GHashTable* table) const { g_hash_table_unref(table); }
    };
    std::unique_ptr<GHashTable, Unref> table_;
};

using Items = std::vector<ObjectPointer<SecretItem>>;

/// Nobody owns the service's name, and nobody can be started for it.
bool meansThatNobodyServes(const glib::Error& error) {
    constexpr int codes[] = {
        G_DBUS_ERROR_SERVICE_UNKNOWN,
        G_DBUS_ERROR_NAME_HAS_NO_OWNER,
        G_DBUS_ERROR_SPAWN_SERVICE_NOT_FOUND,
        G_DBUS_ERROR_SPAWN_SERVICE_INVALID,
        G_DBUS_ERROR_SPAWN_FILE_INVALID,
        G_DBUS_ERROR_SPAWN_CONFIG_INVALID,
        G_DBUS_ERROR_SPAWN_EXEC_FAILED,
        G_DBUS_ERROR_SPAWN_FORK_FAILED,
        G_DBUS_ERROR_SPAWN_SETUP_FAILED,
        G_DBUS_ERROR_SPAWN_PERMISSIONS_INVALID,
        G_DBUS_ERROR_SPAWN_CHILD_EXITED,
        G_DBUS_ERROR_SPAWN_CHILD_SIGNALED,
        G_DBUS_ERROR_SPAWN_FAILED,
    };
    return std::ranges::any_of(codes, [&](int code) { return error.matches(G_DBUS_ERROR, code); });
}

/// An item that was found has been deleted since, by another process. (gnome-keyring says so as
/// D-Bus does of an object that it does not know.)
bool meansThatAnItemHasGone(const glib::Error& error) {
    return error.matches(G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_METHOD) ||
           error.matches(G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_OBJECT) ||
           error.matches(SECRET_ERROR, SECRET_ERROR_NO_SUCH_OBJECT);
}

/// What an operation came to; nothing means that it failed with an error.
using Outcome = std::optional<CredentialStatus>;

} // namespace

/// The connection to the Secret Service, made when first needed and anew after a failure.
class SecretServiceStore::Keyring {
public:
    using Operation = std::function<Outcome(SecretService&, glib::Error&)>;

    Keyring() = default;
    Keyring(const Keyring&) = delete;
    Keyring& operator=(const Keyring&) = delete;
    ~Keyring() {
        const glib::ContextScope scope(context_.get());
        disconnect();
    }

    /// Runs `operation`; anew when an item that it found was deleted meanwhile, and once more when
    /// a connection that stood from earlier turns out to be dead, as after a restart of the
    /// keyring's daemon.
    CredentialStatus run(const Operation& operation) {
        const glib::ContextScope scope(context_.get());
        const bool hadService = service_ != nullptr;
        Outcome outcome = attempt(operation);
        for (int count = 1; !outcome && hasItemGone_ && count < attemptsAtItems; ++count) {
            outcome = attempt(operation);
        }
        if (!outcome && hadService && !hasTimedOut_) {
            disconnect();
            outcome = attempt(operation);
        }
        return outcome.value_or(failure_);
    }

    static std::optional<Items> search(SecretService& service, const Attributes& attributes,
                                       glib::Error& error) {
        GList* found = secret_service_search_sync(&service, schema(), attributes.get(),
                                                  SECRET_SEARCH_ALL, nullptr, error.out());
        Items items;
        for (const GList* node = found; node != nullptr; node = node->next) {
            items.emplace_back(static_cast<SecretItem*>(node->data));
        }
        g_list_free(found);
        return error.isSet() ? std::nullopt : std::optional(std::move(items));
    }

    /// Unlocks a collection or an item, which asks the user; whether it is unlocked now.
    bool unlock(SecretService& service, gpointer object, glib::Error& error) {
        if (steady_clock::now() < quietUntil_) {
            return false;
        }
        GList objects{object, nullptr, nullptr};
        if (secret_service_unlock_sync(&service, &objects, nullptr, nullptr, error.out()) > 0) {
            return true;
        }
        quietUntil_ = steady_clock::now() + quietAfterDismissal;
        return false;
    }

    /// Where new items go. `missing`: the service makes one while it stores the first item, and
    /// asks the user for a password. `refused`: locked, or missing just after a dismissed prompt.
    enum class DefaultCollection { writable, missing, refused };

    DefaultCollection openDefaultCollection(SecretService& service, glib::Error& error) {
        const ObjectPointer<SecretCollection> collection(secret_collection_for_alias_sync(
            &service, SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, nullptr, error.out()));
        if (!collection) {
            return steady_clock::now() < quietUntil_ ? DefaultCollection::refused
                                                     : DefaultCollection::missing;
        }
        const bool unlocked = secret_collection_get_locked(collection.get()) == FALSE ||
                              unlock(service, collection.get(), error);
        return unlocked ? DefaultCollection::writable : DefaultCollection::refused;
    }

    /// No more prompts for a while.
    void noteDismissal() { quietUntil_ = steady_clock::now() + quietAfterDismissal; }

private:
    struct ContextUnref {
        void operator()(GMainContext* context) const { g_main_context_unref(context); }
    };

    Outcome attempt(const Operation& operation) {
        glib::Error error;
        hasTimedOut_ = false;
        hasItemGone_ = false;
        Outcome outcome;
        if (connect(error)) {
            outcome = operation(*service_, error);
            hasItemGone_ = !outcome && meansThatAnItemHasGone(error);
        }
        if (hasItemGone_) {
            failure_ = CredentialStatus::unavailable;
        } else if (!outcome) {
            hasTimedOut_ = error.matches(G_IO_ERROR, G_IO_ERROR_TIMED_OUT);
            const bool hasBus = bus_ && g_dbus_connection_is_closed(bus_.get()) == FALSE;
            failure_ = hasBus && !meansThatNobodyServes(error) ? CredentialStatus::unavailable
                                                               : CredentialStatus::noStore;
            disconnect();
        }
        return outcome;
    }

    void disconnect() {
        service_.reset();
        bus_.reset();
    }

    bool connect(glib::Error& error) {
        if (service_) {
            return true;
        }
        bus_ = glib::sessionBus(error);
        if (!bus_) {
            return false;
        }
        service_.reset(secret_service_open_sync(SECRET_TYPE_SERVICE, nullptr,
                                                SECRET_SERVICE_OPEN_SESSION, nullptr, error.out()));
        return service_ != nullptr && isEncrypted(error);
    }

    /// libsecret settles for secrets in clear with a service that cannot encrypt; anybody who
    /// watches the bus would see them.
    bool isEncrypted(glib::Error& error) const {
        const char* const algorithms = secret_service_get_session_algorithms(service_.get());
        if (algorithms != nullptr && std::string_view(algorithms) != "plain") {
            return true;
        }
        g_set_error_literal(error.out(), G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN,
                            "the service does not encrypt");
        return false;
    }

    const std::unique_ptr<GMainContext, ContextUnref> context_{g_main_context_new()};
    ObjectPointer<GDBusConnection> bus_;
    ObjectPointer<SecretService> service_;
    bool hasTimedOut_ = false;
    bool hasItemGone_ = false;
    /// What the latest failed attempt comes to.
    CredentialStatus failure_ = CredentialStatus::unavailable;
    steady_clock::time_point quietUntil_;
};

SecretServiceStore::SecretServiceStore()
    : keyring_(std::make_unique<Keyring>()) {}

SecretServiceStore::~SecretServiceStore() = default;

CredentialStatus SecretServiceStore::add(std::string_view service, std::string_view account,
                                         std::string_view value) {
    const Attributes attributes(service, account);
    const std::string label = "Quorvane Tandrel (" + std::string(account) + ')';
    const SecretValuePointer secret(
        secret_value_new(value.empty() ? "" : value.data(), static_cast<gssize>(value.size()),
                         isValidUtf8(value) ? "text/plain" : "application/octet-stream"));
    return keyring_->run([&](SecretService& connection, glib::Error& error) -> Outcome {
        const auto items = Keyring::search(connection, attributes, error);
        if (!items) {
            return std::nullopt;
        }
        if (!items->empty()) {
            return CredentialStatus::duplicateItem;
        }
        const auto collection = keyring_->openDefaultCollection(connection, error);
        if (error.isSet()) {
            return std::nullopt;
        }
        if (collection == Keyring::DefaultCollection::refused) {
            return CredentialStatus::unavailable;
        }
        if (secret_service_store_sync(&connection, schema(), attributes.get(),
                                      SECRET_COLLECTION_DEFAULT, label.c_str(), secret.get(),
                                      nullptr, error.out()) == FALSE) {
            if (collection == Keyring::DefaultCollection::missing) {
                keyring_->noteDismissal();
            }
            return std::nullopt;
        }
        return CredentialStatus::success;
    });
}

CredentialStatus SecretServiceStore::copyMatching(std::string_view service,
                                                  std::string_view account, std::string& value) {
    const Attributes attributes(service, account);
    return keyring_->run([&](SecretService& connection, glib::Error& error) -> Outcome {
        const auto items = Keyring::search(connection, attributes, error);
        if (!items) {
            return std::nullopt;
        }
        if (items->empty()) {
            return CredentialStatus::itemNotFound;
        }
        SecretItem* item = items->front().get();
        if (secret_item_get_locked(item) != FALSE && !keyring_->unlock(connection, item, error)) {
            return error.isSet() ? std::nullopt : Outcome(CredentialStatus::unavailable);
        }
        if (secret_item_load_secret_sync(item, nullptr, error.out()) == FALSE) {
            return std::nullopt;
        }
        const SecretValuePointer secret(secret_item_get_secret(item));
        if (!secret) {
            return CredentialStatus::unavailable;
        }
        gsize size = 0;
        const gchar* bytes = secret_value_get(secret.get(), &size);
        value.assign(bytes, size);
        return CredentialStatus::success;
    });
}

CredentialStatus SecretServiceStore::remove(std::string_view service, std::string_view account) {
    const Attributes attributes(service, account);
    return keyring_->run([&](SecretService& connection, glib::Error& error) -> Outcome {
        const auto items = Keyring::search(connection, attributes, error);
        if (!items) {
            return std::nullopt;
        }
        for (const auto& item : *items) {
            if (secret_item_get_locked(item.get()) != FALSE &&
                !keyring_->unlock(connection, item.get(), error)) {
                return error.isSet() ? std::nullopt : Outcome(CredentialStatus::unavailable);
            }
            if (secret_item_delete_sync(item.get(), nullptr, error.out()) == FALSE) {
                return std::nullopt;
            }
        }
        return items->empty() ? CredentialStatus::itemNotFound : CredentialStatus::success;
    });
}

} // namespace tandrel
