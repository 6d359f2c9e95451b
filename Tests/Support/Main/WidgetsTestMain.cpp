#include "Support/PrivateHome.h"
#include "Support/Qt/ExpectedWarnings.h"
#include "Support/Widgets/Palettes.h"

#include <QApplication>

#include <gmock/gmock.h>

int main(int argc, char** argv) {
    const tandrel::test::PrivateHome home;
    // Whatever the machine's own desktop is like: no display, no scaling, the built-in style.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QPA_PLATFORMTHEME", "");
    qunsetenv("QT_SCALE_FACTOR");
    QApplication::setStyle(QStringLiteral("Fusion"));
    const QApplication application(argc, argv);
    QApplication::setPalette(tandrel::test::lightPalette());
    tandrel::test::failOnUnexpectedWarnings();
    // A display in memory cannot raise windows or grab keys, and says so whenever it is asked.
    const tandrel::test::ExpectedWarning offscreen("This plugin does not support");
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
