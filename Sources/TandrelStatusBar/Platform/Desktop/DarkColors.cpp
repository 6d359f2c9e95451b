#include "Platform/Desktop/DarkColors.h"

namespace tandrel {

QPalette darkColors() {
    const QColor window(0x24, 0x24, 0x26);
    const QColor base(0x1c, 0x1c, 0x1e);
    const QColor text(0xf2, 0xf2, 0xf4);
    const QColor faint(0x8e, 0x8e, 0x93);
    const QColor accent(0x3d, 0x8b, 0xfd);
    // The shades of a button's edges follow from its colour.
    QPalette palette(QColor(0x3a, 0x3a, 0x3d), window);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, window);
    palette.setColor(QPalette::ToolTipBase, base);
    for (const auto role :
         {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::ToolTipText}) {
        palette.setColor(role, text);
        palette.setColor(QPalette::Disabled, role, faint);
    }
    palette.setColor(QPalette::PlaceholderText, faint);
    palette.setColor(QPalette::BrightText, Qt::white);
    palette.setColor(QPalette::Link, accent);
    palette.setColor(QPalette::Highlight, accent);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    return palette;
}

} // namespace tandrel
