#include "Support/Desktop/StatusNotifierItem.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QStringList>
#include <QVariantMap>

#include <stdexcept>
#include <utility>

namespace tandrel::test {

namespace {

const QString itemInterface = QStringLiteral("org.kde.StatusNotifierItem");
const QString menuInterface = QStringLiteral("com.canonical.dbusmenu");

} // namespace

StatusNotifierItem::StatusNotifierItem(const BusConnection& bus, const std::string& item)
    : bus_(bus) {
    const QString address = QString::fromStdString(item);
    const auto slash = address.indexOf(u'/');
    service_ = address.left(slash);
    path_ = address.mid(slash);
}

QVariant StatusNotifierItem::property(const char* name) const {
    return bus_.property(service_, path_, itemInterface, QString::fromLatin1(name));
}

std::string StatusNotifierItem::text(const char* name) const {
    return property(name).toString().toStdString();
}

std::string StatusNotifierItem::toolTipTitle() const {
    const QVariant answer = property("ToolTip");
    if (!answer.isValid()) {
        return {};
    }
    // The name of an icon, its pixels, the title, a longer text.
    const auto argument = answer.value<QDBusArgument>();
    QString iconName;
    QString title;
    argument.beginStructure();
    argument >> iconName;
    argument.beginArray();
    while (!argument.atEnd()) {
        int width = 0;
        int height = 0;
        QByteArray pixels;
        argument.beginStructure();
        argument >> width >> height >> pixels;
        argument.endStructure();
    }
    argument.endArray();
    argument >> title;
    argument.endStructure();
    return title.toStdString();
}

std::vector<std::pair<int, int>> StatusNotifierItem::iconSizes() const {
    std::vector<std::pair<int, int>> sizes;
    const QVariant answer = property("IconPixmap");
    if (!answer.isValid()) {
        return sizes;
    }
    const auto argument = answer.value<QDBusArgument>();
    argument.beginArray();
    while (!argument.atEnd()) {
        int width = 0;
        int height = 0;
        QByteArray pixels;
        argument.beginStructure();
        argument >> width >> height >> pixels;
        argument.endStructure();
        sizes.emplace_back(width, height);
    }
    argument.endArray();
    return sizes;
}

QString StatusNotifierItem::menuPath() const {
    return property("Menu").value<QDBusObjectPath>().path();
}

std::vector<StatusNotifierItem::MenuEntry> StatusNotifierItem::menu() const {
    std::vector<MenuEntry> entries;
    const auto answer = bus_.call(service_, menuPath(), menuInterface, QStringLiteral("GetLayout"),
                                  {0, -1, QStringList()});
    if (answer.size() < 2) {
        return entries;
    }
    const auto argument = answer.at(1).value<QDBusArgument>();
    int id = 0;
    QVariantMap properties;
    argument.beginStructure();
    argument >> id >> properties;
    argument.beginArray();
    while (!argument.atEnd()) {
        QDBusVariant child;
        argument >> child;
        const auto entry = child.variant().value<QDBusArgument>();
        entry.beginStructure();
        entry >> id >> properties;
        entry.endStructure();
        MenuEntry found{id, properties.value(QStringLiteral("label")).toString().toStdString(),
                        properties.value(QStringLiteral("enabled"), true).toBool(), std::nullopt};
        if (properties.contains(QStringLiteral("toggle-type"))) {
            found.isChecked = properties.value(QStringLiteral("toggle-state")).toInt() == 1;
        }
        entries.push_back(std::move(found));
    }
    argument.endArray();
    argument.endStructure();
    return entries;
}

StatusNotifierItem::MenuEntry StatusNotifierItem::menuEntry(const std::string& label) const {
    for (MenuEntry& entry : menu()) {
        if (entry.label == label) {
            return std::move(entry);
        }
    }
    throw std::runtime_error("the tray icon's menu has no entry \"" + label + '"');
}

void StatusNotifierItem::announceMenu() const {
    (void)bus_.call(service_, menuPath(), menuInterface, QStringLiteral("AboutToShow"), {0});
}

bool StatusNotifierItem::activate() const {
    // An answer without arguments and an error look the same here; what the program then shows
    // tells them apart, so ask for the item's life only.
    (void)bus_.call(service_, path_, itemInterface, QStringLiteral("Activate"), {0, 0});
    return !text("Id").empty();
}

void StatusNotifierItem::choose(const std::string& label) const {
    (void)bus_.call(service_, menuPath(), menuInterface, QStringLiteral("Event"),
                    {menuEntry(label).id, QStringLiteral("clicked"),
                     QVariant::fromValue(QDBusVariant(QString())), 0U});
}

} // namespace tandrel::test
