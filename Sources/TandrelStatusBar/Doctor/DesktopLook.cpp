#include "Doctor/DesktopLook.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QProcess>
#include <QStringList>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <system_error>
#include <unistd.h>
#include <xcb/xcb.h>

namespace tandrel::doctor {

namespace {

namespace fs = std::filesystem;

constexpr int answerLimitMs = 2000;
constexpr int toolLimitMs = 4000;

/// A connection of its own, closed at the end.
class Bus {
public:
    Bus()
        : connection_(QDBusConnection::connectToBus(QDBusConnection::SessionBus, name())) {}
    ~Bus() { QDBusConnection::disconnectFromBus(name()); }
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    [[nodiscard]] bool isConnected() const { return connection_.isConnected(); }

    [[nodiscard]] bool hasOwner(const char* busName) const {
        auto question = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameHasOwner"));
        question << QString(QLatin1String(busName));
        return firstOf(question).toBool();
    }

    [[nodiscard]] bool hasStatusNotifierHost() const {
        auto question = QDBusMessage::createMethodCall(
            QStringLiteral("org.kde.StatusNotifierWatcher"),
            QStringLiteral("/StatusNotifierWatcher"),
            QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
        question << QStringLiteral("org.kde.StatusNotifierWatcher")
                 << QStringLiteral("IsStatusNotifierHostRegistered");
        question.setAutoStartService(false);
        return firstOf(question).value<QDBusVariant>().variant().toBool();
    }

private:
    static QString name() { return QStringLiteral("doctor"); }

    [[nodiscard]] QVariant firstOf(const QDBusMessage& question) const {
        const QDBusMessage answer = connection_.call(question, QDBus::Block, answerLimitMs);
        return answer.type() == QDBusMessage::ReplyMessage ? answer.arguments().value(0)
                                                           : QVariant();
    }

    QDBusConnection connection_;
};

struct Disconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
struct Free {
    void operator()(void* reply) const { std::free(reply); }
};

bool hasXEmbedTray() {
    int screen = 0;
    const std::unique_ptr<xcb_connection_t, Disconnect> display(xcb_connect(nullptr, &screen));
    if (xcb_connection_has_error(display.get()) != 0) {
        return false;
    }
    const std::string selection = "_NET_SYSTEM_TRAY_S" + std::to_string(screen);
    const std::unique_ptr<xcb_intern_atom_reply_t, Free> atom(xcb_intern_atom_reply(
        display.get(),
        xcb_intern_atom(display.get(), 1, static_cast<std::uint16_t>(selection.size()),
                        selection.c_str()),
        nullptr));
    if (!atom || atom->atom == XCB_NONE) {
        return false;
    }
    const std::unique_ptr<xcb_get_selection_owner_reply_t, Free> owner(
        xcb_get_selection_owner_reply(display.get(),
                                      xcb_get_selection_owner(display.get(), atom->atom), nullptr));
    return owner && owner->owner != XCB_NONE;
}

bool canBeMadeIn(fs::path folder) {
    std::error_code ignored;
    while (!folder.empty() && !fs::exists(folder, ignored) && folder != folder.root_path()) {
        folder = folder.parent_path();
    }
    return fs::is_directory(folder, ignored) && ::access(folder.c_str(), W_OK | X_OK) == 0;
}

} // namespace

DesktopLook lookAtDesktop() {
    DesktopLook look;
    if (const Bus bus; bus.isConnected()) {
        look.hasBus = true;
        look.isRunning = bus.hasOwner("com.quorvane.Tandrel");
        look.hasStatusNotifierHost = bus.hasStatusNotifierHost();
    }
    look.hasXEmbedTray = hasXEmbedTray();
    return look;
}

std::optional<std::string> linkHandler() {
    QProcess tool;
    tool.setProcessChannelMode(QProcess::SeparateChannels);
    tool.start(QStringLiteral("xdg-mime"),
               {QStringLiteral("query"), QStringLiteral("default"),
                QStringLiteral("x-scheme-handler/quorvane-tandrel")},
               QIODevice::ReadOnly);
    if (!tool.waitForFinished(toolLimitMs)) {
        tool.kill();
        tool.waitForFinished(answerLimitMs / 2);
        return std::nullopt;
    }
    return tool.readAllStandardOutput().trimmed().toStdString();
}

LogLook lookAtLog(const std::string& path) {
    LogLook look{path, {}, false};
    std::error_code failed;
    const fs::file_status status = fs::symlink_status(path, failed);
    if (status.type() == fs::file_type::not_found) {
        look.isWritable = canBeMadeIn(fs::path(path).parent_path());
        return look;
    }
    if (fs::is_regular_file(status)) {
        look.size = fs::file_size(path, failed);
        look.isWritable = ::access(path.c_str(), W_OK) == 0;
    }
    return look;
}

} // namespace tandrel::doctor
