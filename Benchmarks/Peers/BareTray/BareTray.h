#pragma once

#include <QSystemTrayIcon>
#include <QWidget>

namespace tandrel::bare {

/// The least that a tray program can show: an icon, and a popover that a click opens and closes, of
/// the same width as the real one's and with nothing in it.
class BareTray {
public:
    BareTray();

    [[nodiscard]] QWidget& popover() { return popover_; }

private:
    QSystemTrayIcon icon_;
    QWidget popover_;
};

} // namespace tandrel::bare
