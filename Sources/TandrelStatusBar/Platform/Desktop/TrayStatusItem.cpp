#include "Platform/Desktop/TrayStatusItem.h"

#include "Platform/Desktop/ManagerSelections.h"
#include "Platform/Desktop/StatusNotifierHost.h"

#include <QDBusConnection>
#include <QEvent>
#include <QMenu>
#include <QSystemTrayIcon>

#include <utility>

namespace tandrel {

TrayStatusItem::TrayStatusItem(Handlers handlers, IconSource iconSource, MenuEntries menuEntries,
                               const QDBusConnection& sessionBus, ManagerSelections* selections)
    : handlers_(std::move(handlers))
    , iconSource_(std::move(iconSource))
    , menuEntries_(std::move(menuEntries))
    , selections_(selections)
    , notifierHost_(std::make_unique<StatusNotifierHost>(sessionBus)) {
    connect(notifierHost_.get(), &StatusNotifierHost::changed, this, &TrayStatusItem::follow);
    if (selections_ != nullptr) {
        connect(selections_, &ManagerSelections::changed, this, &TrayStatusItem::follow);
    }
    // From the event loop, as all later news: whoever makes the item is still being made.
    QMetaObject::invokeMethod(this, &TrayStatusItem::follow, Qt::QueuedConnection);
}

TrayStatusItem::~TrayStatusItem() {
    if (menu_) {
        // Qt frees what it has made of a menu's entries for the bus only when they are removed.
        menu_->clear();
    }
}

bool TrayStatusItem::hasHost(Kind kind) const {
    switch (kind) {
    case Kind::statusNotifier:
        return notifierHost_->isRegistered().value_or(false);
    case Kind::xembed:
        return selections_ != nullptr && selections_->isOwned(traySelection);
    case Kind::none:
        break;
    }
    return false;
}

void TrayStatusItem::follow() {
    if (!notifierHost_->isRegistered()) {
        return; // The better kind has yet to say whether it is there.
    }
    if (kind_ == Kind::none) {
        for (const Kind kind : {Kind::statusNotifier, Kind::xembed}) {
            if (kind_ == Kind::none && hasHost(kind)) {
                createIcon(kind);
            }
        }
    }
    if (std::exchange(isPresent_, hasHost(kind_)) != isPresent_) {
        handlers_.presenceChanged(isPresent_);
    }
}

void TrayStatusItem::createIcon(Kind kind) {
    kind_ = kind;
    icon_ = std::make_unique<QSystemTrayIcon>(iconSource_(isMicrophoneOpen_));
    icon_->setToolTip(toolTip_);
    createMenu();
    connect(icon_.get(), &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                // A double click is a Trigger and a DoubleClick, or two Triggers.
                if (reason == QSystemTrayIcon::Trigger) {
                    handlers_.clicked();
                }
            });
    icon_->show();
}

bool TrayStatusItem::eventFilter(QObject* watched, QEvent* event) {
    // The panel keeps a picture in the old colours until it is told of a new one.
    if (watched == menu_.get() && event->type() == QEvent::PaletteChange) {
        icon_->setIcon(iconSource_(isMicrophoneOpen_));
    }
    return false;
}

void TrayStatusItem::createMenu() {
    menu_ = std::make_unique<QMenu>();
    // As a widget it hears of the palette.
    menu_->installEventFilter(this);
    connect(menu_->addAction(QStringLiteral("Open Quorvane Tandrel")), &QAction::triggered, this,
            [this] { handlers_.openChosen(); });
    menu_->addSeparator();
    menuEntries_(*menu_);
    menu_->addSeparator();
    connect(menu_->addAction(QStringLiteral("Quit")), &QAction::triggered, this,
            [this] { handlers_.quitChosen(); });
    icon_->setContextMenu(menu_.get());
}

QRect TrayStatusItem::geometry() const {
    const QRect place = kind_ == Kind::xembed ? icon_->geometry() : QRect();
    // Before the panel has taken it in, the icon is in the screen's first corner, Qt says.
    return place.topLeft().isNull() ? QRect() : place;
}

void TrayStatusItem::setToolTip(const QString& text) {
    toolTip_ = text;
    if (icon_) {
        icon_->setToolTip(text);
    }
}

void TrayStatusItem::setMicrophoneOpen(bool isOpen) {
    if (std::exchange(isMicrophoneOpen_, isOpen) != isOpen && icon_) {
        icon_->setIcon(iconSource_(isOpen));
    }
}

} // namespace tandrel
