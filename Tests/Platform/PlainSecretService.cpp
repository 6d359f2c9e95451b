#include "PlainSecretService.h"

#include "Platform/GLib/GLibPointers.h"

#include <atomic>
#include <mutex>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace tandrel::test {

struct PlainSecretService::State {
    glib::ObjectPointer<GDBusConnection> bus;
    guint filter = 0;
    std::atomic<bool> hasOpenedSession = false;

    mutable std::mutex mutex;
    /// All that came, as bytes.
    std::string seen;

    /// Called on GLib's own thread for every message; answers the calls.
    static GDBusMessage* receive(GDBusConnection* /*bus*/, GDBusMessage* message, gboolean incoming,
                                 gpointer data) {
        if (incoming == FALSE ||
            g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
            return message;
        }
        State& state = *static_cast<State*>(data);
        state.note(message);
        const glib::ObjectPointer<GDBusMessage> reply(state.answer(message));
        g_dbus_connection_send_message(state.bus.get(), reply.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE,
                                       nullptr, nullptr);
        g_object_unref(message);
        return nullptr;
    }

    void note(GDBusMessage* message) {
        gsize size = 0;
        guchar* const bytes =
            g_dbus_message_to_blob(message, &size, G_DBUS_CAPABILITY_FLAGS_NONE, nullptr);
        const std::lock_guard lock(mutex);
        seen.append(reinterpret_cast<const char*>(bytes), size);
        g_free(bytes);
    }

    GDBusMessage* answer(GDBusMessage* call) {
        const std::string_view member = g_dbus_message_get_member(call);
        if (member == "OpenSession") {
            return openSession(call);
        }
        GDBusMessage* const reply = g_dbus_message_new_method_reply(call);
        if (member == "SearchItems") {
            g_dbus_message_set_body(reply, g_variant_new_parsed("(@ao [], @ao [])"));
        } else if (member == "ReadAlias") {
            g_dbus_message_set_body(
                reply, g_variant_new("(o)", "/org/freedesktop/secrets/collection/plain"));
        } else if (member == "GetAll") {
            g_dbus_message_set_body(reply, g_variant_new_parsed("(@a{sv} {},)"));
        } else if (member == "CreateItem") {
            g_dbus_message_set_body(
                reply, g_variant_new("(oo)", "/org/freedesktop/secrets/collection/plain/1", "/"));
        }
        return reply;
    }

    GDBusMessage* openSession(GDBusMessage* call) {
        const gchar* algorithm = nullptr;
        g_variant_get_child(g_dbus_message_get_body(call), 0, "&s", &algorithm);
        if (std::string_view(algorithm) != "plain") {
            return g_dbus_message_new_method_error_literal(
                call, "org.freedesktop.DBus.Error.NotSupported", "in clear only");
        }
        hasOpenedSession = true;
        GDBusMessage* const reply = g_dbus_message_new_method_reply(call);
        g_dbus_message_set_body(reply, g_variant_new("(vo)", g_variant_new_string(""),
                                                     "/org/freedesktop/secrets/session/1"));
        return reply;
    }
};

PlainSecretService::PlainSecretService(const std::string& busAddress)
    : state_(std::make_unique<State>()) {
    state_->bus.reset(g_dbus_connection_new_for_address_sync(
        busAddress.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr));
    if (!state_->bus) {
        throw std::runtime_error("the service finds no bus");
    }
    state_->filter =
        g_dbus_connection_add_filter(state_->bus.get(), &State::receive, state_.get(), nullptr);
    GVariant* const reply = g_dbus_connection_call_sync(
        state_->bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", g_variant_new("(su)", "org.freedesktop.secrets", 0U), nullptr,
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    if (reply == nullptr) {
        throw std::runtime_error("the service gets no name");
    }
    g_variant_unref(reply);
}

PlainSecretService::~PlainSecretService() {
    g_dbus_connection_remove_filter(state_->bus.get(), state_->filter);
    g_dbus_connection_close_sync(state_->bus.get(), nullptr, nullptr);
}

bool PlainSecretService::hasOpenedSession() const {
    return state_->hasOpenedSession;
}

bool PlainSecretService::hasSeen(const std::string& text) const {
    const std::lock_guard lock(state_->mutex);
    return state_->seen.find(text) != std::string::npos;
}

} // namespace tandrel::test
