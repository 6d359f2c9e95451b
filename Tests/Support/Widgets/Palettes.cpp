#include "Support/Widgets/Palettes.h"

namespace tandrel::test {

namespace {

QPalette paletteOf(QRgb window, QRgb base, QRgb button, QRgb text, QRgb highlight) {
    QPalette palette(QColor::fromRgb(button), QColor::fromRgb(window));
    const QColor ink = QColor::fromRgb(text);
    palette.setColor(QPalette::Base, QColor::fromRgb(base));
    palette.setColor(QPalette::AlternateBase, QColor::fromRgb(window));
    palette.setColor(QPalette::WindowText, ink);
    palette.setColor(QPalette::Text, ink);
    palette.setColor(QPalette::ButtonText, ink);
    QColor faint = ink;
    faint.setAlphaF(0.5F);
    palette.setColor(QPalette::PlaceholderText, faint);
    palette.setColor(QPalette::Highlight, QColor::fromRgb(highlight));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::ToolTipBase, QColor::fromRgb(base));
    palette.setColor(QPalette::ToolTipText, ink);
    for (const QPalette::ColorRole role :
         {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        palette.setColor(QPalette::Disabled, role, faint);
    }
    return palette;
}

} // namespace

QPalette lightPalette() {
    return paletteOf(0xffefefef, 0xffffffff, 0xffefefef, 0xff1d1d1f, 0xff2f7de1);
}

QPalette darkPalette() {
    return paletteOf(0xff2a2a2d, 0xff1e1e20, 0xff38383c, 0xfff2f2f4, 0xff3d8bfd);
}

QPalette highContrastPalette() {
    return paletteOf(0xffffffff, 0xffffffff, 0xffffffff, 0xff000000, 0xff0000c0);
}

QPalette highContrastDarkPalette() {
    return paletteOf(0xff000000, 0xff000000, 0xff000000, 0xffffffff, 0xff1aebff);
}

} // namespace tandrel::test
