#include "Gallery.h"
#include "Options.h"
#include "Support/PrivateHome.h"

#include <QApplication>
#include <QByteArray>
#include <QFont>
#include <QString>
#include <QtGlobal>

#include <cstdio>
#include <string>
#include <vector>

namespace {

/// Drops what the offscreen platform says of every window with a smallest size.
void passMessage(QtMsgType /*type*/, const QMessageLogContext& /*context*/,
                 const QString& message) {
    if (message != QLatin1String("This plugin does not support propagateSizeHints()")) {
        std::fprintf(stderr, "%s\n", qPrintable(message));
    }
}

} // namespace

int main(int argc, char** argv) {
    const auto parsed =
        tandrel::gallery::readOptions(std::vector<std::string>(argv + 1, argv + argc));
    if (parsed.leave) {
        std::fputs(parsed.text.c_str(), parsed.exitCode == 0 ? stdout : stderr);
        return parsed.exitCode;
    }
    // The services keep a log; not in the user's.
    const tandrel::test::PrivateHome home;
    qInstallMessageHandler(passMessage);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QPA_PLATFORMTHEME", "");
    qputenv("QT_SCALE_FACTOR", QByteArray::number(parsed.options.scale));
    QApplication::setStyle(QStringLiteral("Fusion"));
    const QApplication application(argc, argv);
    QFont font = QApplication::font();
    if (!parsed.options.fontFamily.empty()) {
        font.setFamily(QString::fromStdString(parsed.options.fontFamily));
    }
    font.setPointSizeF(parsed.options.fontPoints);
    QApplication::setFont(font);
    return tandrel::gallery::drawGallery(parsed.options) ? 0 : 1;
}
