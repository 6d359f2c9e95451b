#include "Views/Controls/TextLabel.h"

#include "Support/Widgets/Palettes.h"
#include "Support/Widgets/Rendering.h"
#include "Views/Controls/PlainText.h"
#include "Views/Controls/Points.h"

#include <QAccessible>
#include <QApplication>
#include <QFontDatabase>

#include <gtest/gtest.h>

#include <memory>

using namespace tandrel;
using namespace tandrel::test;

namespace {

const QString longText = QStringLiteral(
    "The connection was lost, and it will be tried again in a moment, which may take a while");

} // namespace

TEST(TextLabel, ShowsTagsAsTheyAre) {
    TextLabel label(QStringLiteral("<b>x</b>"), 11.0);
    EXPECT_EQ(label.text(), QStringLiteral("<b>x</b>"));
    EXPECT_EQ(label.textFormat(), Qt::PlainText);
    TextLabel plain(QStringLiteral("x"), 11.0);
    EXPECT_GT(label.sizeHint().width(), 3 * plain.sizeHint().width());
}

TEST(TextLabel, ControlCharactersDoNotBreakItsLine) {
    TextLabel label(QStringLiteral("one\ntwo"), 11.0);
    EXPECT_EQ(label.text(), QStringLiteral("one two"));
    label.setText(QStringLiteral("a\x1b\tb"));
    EXPECT_EQ(label.text(), QStringLiteral("a  b"));
}

TEST(TextLabel, IsDrawnInTheColourOfItsRole) {
    TextLabel label(QStringLiteral("HHHH"), 30.0, ColorRole::red, QFont::Bold);
    label.resize(label.sizeHint());
    EXPECT_GT(countOf(color(ColorRole::red, label.palette()), rendered(label)), 50);
    label.setRole(ColorRole::green);
    EXPECT_GT(countOf(color(ColorRole::green, label.palette()), rendered(label)), 50);
    EXPECT_EQ(countOf(color(ColorRole::red, label.palette()), rendered(label)), 0);
}

TEST(TextLabel, RecoloursWithThePalette) {
    const ApplicationLook look;
    TextLabel label(QStringLiteral("HHHH"), 30.0, ColorRole::primary, QFont::Bold);
    label.resize(label.sizeHint());
    look.setPalette(darkPalette());
    EXPECT_GT(countOf(color(ColorRole::primary, darkPalette()), rendered(label)), 50);
}

TEST(TextLabel, GrowsWithTheUsersFontWhileItIsShown) {
    const ApplicationLook look;
    TextLabel label(QStringLiteral("Waiting"), 11.0);
    showAndWait(label);
    const QSize before = label.sizeHint();
    look.scaleFont(2.0);
    EXPECT_NEAR(label.sizeHint().width(), 2 * before.width(), 4);
    EXPECT_NEAR(label.font().pointSizeF(), systemFont(11.0).pointSizeF(), 0.01);
}

TEST(TextLabel, StaysItalicWhenTheFontChanges) {
    const ApplicationLook look;
    TextLabel label(QStringLiteral("Waiting"), 11.0);
    label.setItalic(true);
    look.scaleFont(1.5);
    EXPECT_TRUE(label.font().italic());
}

TEST(TextLabel, ElidesWhatDoesNotFitAndTellsTheWholeInItsToolTip) {
    QWidget window;
    TextLabel label(longText, 11.0);
    label.setParent(&window);
    label.resize(label.sizeHint().width() + 2, 20);
    showAndWait(window);
    EXPECT_TRUE(label.toolTip().isEmpty());
    label.resize(100, 20);
    EXPECT_EQ(label.toolTip(), longText);
    EXPECT_EQ(label.text(), longText) << "assistive programs read the whole";
    label.setText(QStringLiteral("short"));
    EXPECT_TRUE(label.toolTip().isEmpty());
}

TEST(TextLabel, AToolTipNeverTakesForeignTagsForItsOwn) {
    TextLabel label(QStringLiteral("<h1>big</h1> ") + longText, 11.0);
    label.resize(100, 20);
    showAndWait(label);
    EXPECT_EQ(label.toolTip(), plainToolTip(label.text()));
    EXPECT_NE(label.toolTip(), label.text());
}

TEST(TextLabel, WrapsIntoAsManyLinesAsAllowed) {
    TextLabel label(longText, 11.0, ColorRole::secondary);
    const int oneLine = label.sizeHint().height();
    label.setMaximumLines(2);
    EXPECT_TRUE(label.hasHeightForWidth());
    EXPECT_EQ(label.heightForWidth(label.sizeHint().width() + 2), oneLine);
    const int narrow = label.sizeHint().width() / 5;
    EXPECT_GT(label.heightForWidth(narrow), oneLine * 3 / 2);
    EXPECT_LT(label.heightForWidth(narrow), oneLine * 5 / 2);
    label.setMaximumLines(0);
    EXPECT_GT(label.heightForWidth(narrow), oneLine * 4);
}

TEST(TextLabel, DrawsNothingOutsideItsLines) {
    TextLabel label(longText, 11.0);
    label.setMaximumLines(2);
    const int width = label.sizeHint().width() / 3;
    label.resize(width, 3 * label.heightForWidth(width));
    const QImage image = rendered(label);
    const int third = image.height() / 3;
    const auto isEmpty = [&image](int from, int to) {
        return countOf(Qt::transparent, image.copy(0, from, image.width(), to - from)) ==
               image.width() * (to - from);
    };
    EXPECT_TRUE(isEmpty(0, third - 1));
    EXPECT_FALSE(isEmpty(third, 2 * third));
    EXPECT_TRUE(isEmpty(2 * third + 1, image.height()));
}

TEST(TextLabel, MonospacedDigitsKeepTheWidthWhileTheyRun) {
    ASSERT_TRUE(QFontDatabase::hasFamily(QStringLiteral("Inter")))
        << "this needs a font whose digits differ in width";
    const ApplicationLook look;
    QFont font = QApplication::font();
    font.setFamilies({QStringLiteral("Inter")});
    QApplication::setFont(font);
    TextLabel narrow(QStringLiteral("11:11"), 11.0);
    TextLabel wide(QStringLiteral("08:00"), 11.0);
    EXPECT_NE(narrow.sizeHint().width(), wide.sizeHint().width());
    narrow.setMonospacedDigits(true);
    wide.setMonospacedDigits(true);
    EXPECT_EQ(narrow.sizeHint().width(), wide.sizeHint().width());
}

TEST(TextLabel, MonospacedDigitsLieOnTheSameLineAsOrdinaryText) {
    TextLabel plain(QStringLiteral("88"), 40.0);
    TextLabel digits(QStringLiteral("88"), 40.0);
    digits.setMonospacedDigits(true);
    plain.resize(plain.sizeHint());
    digits.resize(digits.sizeHint());
    const auto inkRows = [](const QImage& image) {
        int first = -1;
        int last = -1;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                if (image.pixelColor(x, y).alpha() > 128) {
                    first = first < 0 ? y : first;
                    last = y;
                }
            }
        }
        return std::pair(first, last);
    };
    EXPECT_EQ(inkRows(rendered(digits)), inkRows(rendered(plain)));
}

TEST(TextLabel, AssistiveProgramsReadItsText) {
    TextLabel label(QStringLiteral("Audio Level"), 11.0);
    QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(&label);
    ASSERT_NE(interface, nullptr);
    EXPECT_EQ(interface->role(), QAccessible::StaticText);
    EXPECT_EQ(interface->text(QAccessible::Name), QStringLiteral("Audio Level"));
}
