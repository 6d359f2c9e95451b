#include "Platform/SecretService/KeyringLook.h"

#include "Platform/GLib/GLibPointers.h"
#include "Platform/GLib/SessionBus.h"
#include "Platform/SecretService/SecretValuePointer.h"

#include <libsecret/secret.h>

#include <memory>
#include <vector>

namespace tandrel {

namespace {

using glib::ObjectPointer;

struct HashTableUnref {
    void operator()(GHashTable* table) const { g_hash_table_unref(table); }
};

ObjectPointer<SecretService> openService(glib::Error& error) {
    const auto bus = glib::sessionBus(error);
    if (!bus) {
        return nullptr;
    }
    return ObjectPointer<SecretService>(secret_service_open_sync(
        SECRET_TYPE_SERVICE, nullptr, SECRET_SERVICE_OPEN_SESSION, nullptr, error.out()));
}

KeyringLook::State stateOf(SecretService& service, glib::Error& error) {
    const ObjectPointer<SecretCollection> collection(secret_collection_for_alias_sync(
        &service, SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, nullptr, error.out()));
    if (error.isSet()) {
        return KeyringLook::State::unreachable;
    }
    if (!collection) {
        return KeyringLook::State::missing;
    }
    return secret_collection_get_locked(collection.get()) != FALSE ? KeyringLook::State::locked
                                                                   : KeyringLook::State::unlocked;
}

std::vector<ObjectPointer<SecretItem>> search(SecretService& service, std::string_view serviceName,
                                              std::string_view account, glib::Error& error) {
    // Without a schema of its own the search goes by the two attributes alone.
    const std::unique_ptr<GHashTable, HashTableUnref> attributes(
        g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free));
    const auto set = [&](const char* name, std::string_view value) {
        g_hash_table_insert(attributes.get(), g_strdup(name),
                            g_strndup(value.data(), value.size()));
    };
    set("service", serviceName);
    set("account", account);
    // Neither SECRET_SEARCH_UNLOCK nor a load of secrets: those ask the user.
    GList* const found = secret_service_search_sync(&service, nullptr, attributes.get(),
                                                    SECRET_SEARCH_ALL, nullptr, error.out());
    std::vector<ObjectPointer<SecretItem>> items;
    for (const GList* node = found; node != nullptr; node = node->next) {
        items.emplace_back(static_cast<SecretItem*>(node->data));
    }
    g_list_free(found);
    return items;
}

std::optional<std::string> valueOf(SecretItem& item, glib::Error& error) {
    if (secret_item_get_locked(&item) != FALSE ||
        secret_item_load_secret_sync(&item, nullptr, error.out()) == FALSE) {
        return std::nullopt;
    }
    const SecretValuePointer secret(secret_item_get_secret(&item));
    if (!secret) {
        return std::nullopt;
    }
    gsize size = 0;
    const gchar* const bytes = secret_value_get(secret.get(), &size);
    return std::string(bytes, size);
}

KeyringLook look(std::string_view serviceName, std::string_view account) {
    glib::Error error;
    const auto service = openService(error);
    if (!service) {
        return {};
    }
    KeyringLook seen;
    seen.state = stateOf(*service, error);
    if (seen.state == KeyringLook::State::unreachable) {
        return seen;
    }
    const auto items = search(*service, serviceName, account, error);
    seen.hasItem = !items.empty();
    if (seen.hasItem) {
        seen.value = valueOf(*items.front(), error);
    }
    return seen;
}

} // namespace

KeyringLook lookIntoKeyring(std::string_view service, std::string_view account) {
    // What GLib delivers to this thread must not go to the main thread's context.
    GMainContext* const context = g_main_context_new();
    g_main_context_push_thread_default(context);
    KeyringLook seen = look(service, account);
    while (g_main_context_iteration(context, FALSE) != FALSE) {
    }
    g_main_context_pop_thread_default(context);
    g_main_context_unref(context);
    return seen;
}

} // namespace tandrel
