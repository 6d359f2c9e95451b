#pragma once

#include "Platform/Desktop/StatusItem.h"

#include <QIcon>
#include <QObject>

#include <functional>
#include <memory>

class QDBusConnection;
class QMenu;
class QSystemTrayIcon;

namespace tandrel {

class ManagerSelections;
class StatusNotifierHost;

/// The status item by Qt's tray icon: a StatusNotifierItem, or an XEmbed icon.
///
/// Qt decides between the two for good at the first touch of its class, and where neither has a
/// host at that moment, a StatusNotifierItem never appears. So the icon is made only once there is
/// a host; both kinds are watched, whichever comes first and however late.
class TrayStatusItem : public QObject, public StatusItem {
    Q_OBJECT

public:
    /// The X selection of an XEmbed tray, for `ManagerSelections`.
    static constexpr const char* traySelection = "_NET_SYSTEM_TRAY_S";

    /// The icon to show.
    using IconSource = std::function<QIcon(bool isMicrophoneOpen)>;

    /// Adds entries of the program's own to the icon's menu, which is made only with the icon.
    using MenuEntries = std::function<void(QMenu&)>;

    /// `selections` is null on a system without X; else it must outlive the item.
    TrayStatusItem(Handlers handlers, IconSource iconSource, MenuEntries menuEntries,
                   const QDBusConnection& sessionBus, ManagerSelections* selections);
    ~TrayStatusItem() override;

    [[nodiscard]] bool isPresent() const override { return isPresent_; }
    [[nodiscard]] QRect geometry() const override;
    void setToolTip(const QString& text) override;
    void setMicrophoneOpen(bool isOpen) override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    enum class Kind { none, statusNotifier, xembed };

    void follow();
    [[nodiscard]] bool hasHost(Kind kind) const;
    void createIcon(Kind kind);
    void createMenu();

    Handlers handlers_;
    IconSource iconSource_;
    MenuEntries menuEntries_;
    ManagerSelections* selections_;
    std::unique_ptr<StatusNotifierHost> notifierHost_;
    Kind kind_ = Kind::none;
    bool isPresent_ = false;
    bool isMicrophoneOpen_ = false;
    QString toolTip_;
    std::unique_ptr<QMenu> menu_;
    std::unique_ptr<QSystemTrayIcon> icon_;
};

} // namespace tandrel
