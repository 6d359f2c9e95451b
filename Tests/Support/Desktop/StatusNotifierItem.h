#pragma once

#include "Support/Desktop/BusConnection.h"

#include <QString>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tandrel::test {

/// A program's tray icon as a panel sees it over the bus.
class StatusNotifierItem {
public:
    /// An entry of its menu; separators have no label.
    struct MenuEntry {
        int id = 0;
        std::string label;
        bool isEnabled = true;
        /// Whether it has a check mark; nothing when it is no switch.
        std::optional<bool> isChecked;
    };

    /// `item` as the watcher lists it; the connection must outlive this object.
    StatusNotifierItem(const BusConnection& bus, const std::string& item);

    /// The text of a property ("Title", "IconName", "Status" …), empty when there is none.
    [[nodiscard]] std::string text(const char* property) const;
    [[nodiscard]] std::string toolTipTitle() const;
    /// The sizes of the icons that it offers, in pixels.
    [[nodiscard]] std::vector<std::pair<int, int>> iconSizes() const;
    [[nodiscard]] std::vector<MenuEntry> menu() const;
    /// The entry of that label; throws std::runtime_error when there is none.
    [[nodiscard]] MenuEntry menuEntry(const std::string& label) const;
    /// Tells the program, as panels do, that its menu is about to be shown.
    void announceMenu() const;

    /// The click of the left button; whether the program took it.
    bool activate() const;
    /// Chooses an entry of the menu; throws std::runtime_error when there is none of that label.
    void choose(const std::string& label) const;

private:
    [[nodiscard]] QVariant property(const char* name) const;
    [[nodiscard]] QString menuPath() const;

    const BusConnection& bus_;
    QString service_;
    QString path_;
};

} // namespace tandrel::test
