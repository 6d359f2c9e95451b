#include "Views/Controls/StatusIcon.h"

#include "Views/Controls/StatusIconEngine.h"

#include <QStandardPaths>

namespace tandrel {

namespace {

/// The name if an icon of it is installed where all themes look; else nothing.
QString installedName(const QString& name) {
    const QString file = QStringLiteral("icons/hicolor/symbolic/apps/%1.svg").arg(name);
    return QStandardPaths::locate(QStandardPaths::GenericDataLocation, file).isEmpty() ? QString()
                                                                                       : name;
}

} // namespace

QIcon statusIcon(bool isMicrophoneOpen) {
    const QString name = isMicrophoneOpen
                             ? QStringLiteral("com.quorvane.Tandrel-streaming-symbolic")
                             : QStringLiteral("com.quorvane.Tandrel-symbolic");
    return QIcon(new StatusIconEngine(installedName(name), isMicrophoneOpen));
}

} // namespace tandrel
