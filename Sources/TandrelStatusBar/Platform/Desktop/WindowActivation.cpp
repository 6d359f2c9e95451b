#include "Platform/Desktop/WindowActivation.h"

#include <QGuiApplication>
#include <QWidget>

#include <cstdlib>
#include <xcb/xcb.h>

namespace tandrel {

namespace {

constexpr const char* tokenVariable = "XDG_ACTIVATION_TOKEN";

void requestAsPager(xcb_connection_t* connection, xcb_window_t window) {
    static constexpr char name[] = "_NET_ACTIVE_WINDOW";
    static constexpr std::uint32_t pager = 2;
    xcb_intern_atom_reply_t* const atom = xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 0, sizeof name - 1, name), nullptr);
    if (atom == nullptr) {
        return;
    }
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = atom->atom;
    message.data.data32[0] = pager;
    std::free(atom);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    xcb_send_event(connection, 0, root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    xcb_flush(connection);
}

} // namespace

void activateBeforeOthers(QWidget& window) {
    window.activateWindow();
    if (QGuiApplication::platformName() != QStringLiteral("xcb")) {
        return; // The others have no order of windows that a program could change.
    }
    window.raise();
    if (const auto* const x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>()) {
        requestAsPager(x11->connection(), static_cast<xcb_window_t>(window.winId()));
    }
}

void useActivationToken(const std::string& token) {
    if (!token.empty() && QGuiApplication::platformName().startsWith(QStringLiteral("wayland"))) {
        // Where Qt's Wayland platform looks for it.
        qputenv(tokenVariable, QByteArray::fromStdString(token));
    }
}

std::string activationTokenOfStart() {
    for (const char* const name : {tokenVariable, "DESKTOP_STARTUP_ID"}) {
        if (const char* const token = std::getenv(name); token != nullptr && *token != '\0') {
            return token;
        }
    }
    return {};
}

} // namespace tandrel
