#include "Views/Controls/TextField.h"

#include "Support/Widgets/Palettes.h"
#include "Support/Widgets/Rendering.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/Theme.h"

#include <QAccessible>
#include <QApplication>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

using namespace tandrel;
using namespace tandrel::test;

namespace {

QColor edgeOf(TextField& field) {
    return rendered(field).pixelColor(field.width() / 2, 0);
}

QColor fillOf(TextField& field) {
    return rendered(field).pixelColor(field.width() - 10, field.height() / 2);
}

} // namespace

TEST(TextField, IsNamedByItsPlaceholder) {
    TextField field(QStringLiteral("Email"));
    EXPECT_EQ(field.placeholderText(), QStringLiteral("Email"));
    QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(&field);
    ASSERT_NE(interface, nullptr);
    EXPECT_EQ(interface->role(), QAccessible::EditableText);
    EXPECT_EQ(interface->text(QAccessible::Name), QStringLiteral("Email"));
}

TEST(TextField, TakesTextAndReturn) {
    TextField field(QStringLiteral("Email"));
    const QSignalSpy returns(&field, &QLineEdit::returnPressed);
    QTest::keyClicks(&field, QStringLiteral(" a b "));
    QTest::keyClick(&field, Qt::Key_Return);
    EXPECT_EQ(field.text(), QStringLiteral(" a b "));
    EXPECT_EQ(returns.count(), 1);
}

TEST(TextField, HasARoundedBorderAroundItsFill) {
    TextField field(QStringLiteral("Email"));
    field.resize(200, field.sizeHint().height());
    const QImage image = rendered(field);
    EXPECT_EQ(image.pixelColor(0, 0).alpha(), 0) << "round corners show what lies behind";
    EXPECT_TRUE(isClose(fillOf(field), controlFill(field.palette())));
    EXPECT_FALSE(isClose(edgeOf(field), fillOf(field), 20));
}

TEST(TextField, ItsBorderShowsTheFocus) {
    QWidget window;
    TextField field(QStringLiteral("Email"), &window);
    field.setGeometry(10, 10, 200, field.sizeHint().height());
    window.resize(220, 80);
    showAndWait(window);
    field.setFocus(Qt::MouseFocusReason);
    EXPECT_TRUE(isClose(edgeOf(field), focusRing(field.palette()), 8));
    field.clearFocus();
    EXPECT_FALSE(isClose(edgeOf(field), focusRing(field.palette()), 40));
}

TEST(TextField, FollowsTheUsersFontAndColours) {
    const ApplicationLook look;
    TextField field(QStringLiteral("Email"));
    const int before = field.sizeHint().height();
    look.scaleFont(2.0);
    EXPECT_NEAR(field.font().pointSizeF(), systemFont(13.0).pointSizeF(), 0.01);
    EXPECT_NEAR(field.sizeHint().height(), 2 * before, 2);
    look.setPalette(darkPalette());
    field.resize(200, field.sizeHint().height());
    EXPECT_TRUE(isClose(fillOf(field), controlFill(darkPalette())));
    EXPECT_LT(fillOf(field).lightness(), 100);
}
