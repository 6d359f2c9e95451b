#include "FakeSystemPrompter.h"

#include "Platform/GLib/GLibPointers.h"

#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

namespace tandrel::test {

struct FakeSystemPrompter::State {
    glib::ObjectPointer<GDBusConnection> bus;
    User user = User::dismisses;
    guint filter = 0;

    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    std::size_t promptCount = 0;
    std::vector<glib::ObjectPointer<GDBusMessage>> unanswered;

    void dismiss(GDBusMessage* prompt) const {
        const glib::ObjectPointer<GDBusMessage> reply(g_dbus_message_new_method_error_literal(
            prompt, "org.gnome.keyring.Prompter.Dismissed", "dismissed"));
        g_dbus_connection_send_message(bus.get(), reply.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE,
                                       nullptr, nullptr);
    }

    /// Called on GLib's own thread for every message; takes those that ask for a prompt.
    static GDBusMessage* receive(GDBusConnection* /*bus*/, GDBusMessage* message, gboolean incoming,
                                 gpointer data) {
        const gchar* member = g_dbus_message_get_member(message);
        if (incoming == FALSE || member == nullptr ||
            std::string_view(member) != "BeginPrompting") {
            return message;
        }
        State& state = *static_cast<State*>(data);
        glib::ObjectPointer<GDBusMessage> prompt(message);
        if (state.user == User::dismisses) {
            state.dismiss(message);
        }
        const std::lock_guard lock(state.mutex);
        ++state.promptCount;
        if (state.user == User::neverAnswers) {
            state.unanswered.push_back(std::move(prompt));
        }
        state.changed.notify_all();
        return nullptr;
    }
};

FakeSystemPrompter::FakeSystemPrompter(const std::string& busAddress, User user)
    : state_(std::make_unique<State>()) {
    state_->user = user;
    state_->bus.reset(g_dbus_connection_new_for_address_sync(
        busAddress.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr));
    if (!state_->bus) {
        throw std::runtime_error("the prompter finds no bus");
    }
    state_->filter =
        g_dbus_connection_add_filter(state_->bus.get(), &State::receive, state_.get(), nullptr);
    GVariant* reply = g_dbus_connection_call_sync(
        state_->bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", g_variant_new("(su)", "org.gnome.keyring.SystemPrompter", 0U), nullptr,
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    if (reply == nullptr) {
        throw std::runtime_error("the prompter gets no name");
    }
    g_variant_unref(reply);
}

FakeSystemPrompter::~FakeSystemPrompter() {
    {
        const std::lock_guard lock(state_->mutex);
        for (const auto& prompt : state_->unanswered) {
            state_->dismiss(prompt.get());
        }
    }
    g_dbus_connection_flush_sync(state_->bus.get(), nullptr, nullptr);
    g_dbus_connection_remove_filter(state_->bus.get(), state_->filter);
    g_dbus_connection_close_sync(state_->bus.get(), nullptr, nullptr);
}

std::size_t FakeSystemPrompter::promptCount() const {
    const std::lock_guard lock(state_->mutex);
    return state_->promptCount;
}

bool FakeSystemPrompter::awaitPrompts(std::size_t count) const {
    std::unique_lock lock(state_->mutex);
    return state_->changed.wait_for(lock, std::chrono::seconds(10),
                                    [&] { return state_->promptCount >= count; });
}

} // namespace tandrel::test
