#include "Platform/Qt/EventLoops.h"

#include <QByteArray>
#include <QtGlobal>

namespace tandrel {

void usePlainEventLoops(PlainLoops which) {
    // Qt 6.4 has no other means: the class of its plain loop is private.
    const char* const variable =
        which == PlainLoops::everywhere ? "QT_NO_GLIB" : "QT_NO_THREADED_GLIB";
    if (!qEnvironmentVariableIsSet(variable)) {
        qputenv(variable, QByteArrayLiteral("1"));
    }
}

} // namespace tandrel
