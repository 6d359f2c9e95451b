#include "Views/Controls/Theme.h"

#include "Support/Widgets/Palettes.h"

#include <gtest/gtest.h>

using namespace tandrel;
using namespace tandrel::test;

namespace {

struct NamedPalette {
    const char* name;
    QPalette palette;
};

std::ostream& operator<<(std::ostream& stream, const NamedPalette& named) {
    return stream << named.name;
}

class EveryTheme : public testing::TestWithParam<NamedPalette> {
protected:
    [[nodiscard]] QColor shown(ColorRole role) const { return color(role, GetParam().palette); }
    [[nodiscard]] QColor card() const { return shown(ColorRole::card); }
};

QPalette withHighlight(QPalette palette, const QColor& highlight) {
    palette.setColor(QPalette::Highlight, highlight);
    return palette;
}

} // namespace

TEST(Theme, ContrastIsThatOfTheAccessibilityGuidelines) {
    EXPECT_NEAR(contrastRatio(Qt::black, Qt::white), 21.0, 0.001);
    EXPECT_NEAR(contrastRatio(Qt::white, Qt::black), 21.0, 0.001);
    EXPECT_DOUBLE_EQ(contrastRatio(Qt::red, Qt::red), 1.0);
    // #767676 is the lightest grey that the guidelines allow for text on white.
    EXPECT_NEAR(contrastRatio(QColor(0x76, 0x76, 0x76), Qt::white), 4.54, 0.01);
}

TEST(Theme, TellsDarkFromLight) {
    EXPECT_FALSE(isDark(lightPalette()));
    EXPECT_TRUE(isDark(darkPalette()));
    EXPECT_FALSE(isDark(highContrastPalette()));
    EXPECT_TRUE(isDark(highContrastDarkPalette()));
}

TEST(Theme, TellsAHighContrastFromAnOrdinaryOne) {
    EXPECT_FALSE(isHighContrast(lightPalette()));
    EXPECT_FALSE(isHighContrast(darkPalette()));
    EXPECT_TRUE(isHighContrast(highContrastPalette()));
    EXPECT_TRUE(isHighContrast(highContrastDarkPalette()));
}

TEST(Theme, AHighContrastHasNoFaintTextAndStrongEdges) {
    for (const QPalette& palette : {highContrastPalette(), highContrastDarkPalette()}) {
        const QColor text = palette.color(QPalette::WindowText);
        EXPECT_EQ(color(ColorRole::secondary, palette), text);
        EXPECT_EQ(color(ColorRole::tertiary, palette), text);
        EXPECT_EQ(color(ColorRole::divider, palette), text);
        EXPECT_EQ(color(ColorRole::cardBorder, palette), text);
        EXPECT_EQ(controlBorder(palette), text);
    }
}

TEST(Theme, TheTextLevelsGrowFainterInOrder) {
    for (const QPalette& palette : {lightPalette(), darkPalette()}) {
        const QColor card = color(ColorRole::card, palette);
        const qreal primary = contrastRatio(color(ColorRole::primary, palette), card);
        const qreal secondary = contrastRatio(color(ColorRole::secondary, palette), card);
        const qreal tertiary = contrastRatio(color(ColorRole::tertiary, palette), card);
        EXPECT_GT(primary, secondary + 1.0);
        EXPECT_GT(secondary, tertiary);
    }
}

TEST(Theme, TheTrackIsGreyAtAFifth) {
    const QPalette palette = lightPalette();
    EXPECT_EQ(color(ColorRole::track, palette),
              mixed(color(ColorRole::card, palette), QColor(0x8e, 0x8e, 0x93), 0.2));
}

TEST_P(EveryTheme, TextIsReadableOnTheCard) {
    for (const ColorRole role :
         {ColorRole::primary, ColorRole::secondary, ColorRole::tertiary, ColorRole::accent,
          ColorRole::green, ColorRole::orange, ColorRole::red}) {
        EXPECT_GE(contrastRatio(shown(role), card()), 4.5) << int(role);
    }
}

TEST_P(EveryTheme, TheWarningSignAndTheFocusRingStandOut) {
    EXPECT_GE(contrastRatio(shown(ColorRole::yellow), card()), 3.0);
    EXPECT_GE(contrastRatio(focusRing(GetParam().palette), card()), 3.0);
}

TEST_P(EveryTheme, WhiteIsReadableOnEachTint) {
    for (const ColorRole role : {ColorRole::green, ColorRole::red, ColorRole::accent,
                                 ColorRole::orange, ColorRole::yellow}) {
        EXPECT_GE(contrastRatio(Qt::white, tintFill(role, GetParam().palette)), 4.5) << int(role);
    }
}

TEST_P(EveryTheme, TheSemanticColoursKeepTheirHue) {
    const auto isBetween = [](const QColor& color, int from, int to) {
        return color.hslHue() >= from && color.hslHue() <= to && color.hslSaturation() > 100;
    };
    EXPECT_TRUE(isBetween(shown(ColorRole::green), 100, 160)) << shown(ColorRole::green).hslHue();
    EXPECT_TRUE(isBetween(shown(ColorRole::orange), 15, 40)) << shown(ColorRole::orange).hslHue();
    EXPECT_TRUE(isBetween(shown(ColorRole::yellow), 38, 60)) << shown(ColorRole::yellow).hslHue();
    const int red = shown(ColorRole::red).hslHue();
    EXPECT_TRUE(red >= 340 || red <= 10) << red;
}

INSTANTIATE_TEST_SUITE_P(
    Themes, EveryTheme,
    testing::Values(NamedPalette{"light", lightPalette()}, NamedPalette{"dark", darkPalette()},
                    NamedPalette{"highContrast", highContrastPalette()},
                    NamedPalette{"highContrastDark", highContrastDarkPalette()},
                    // Accents that users choose, and which are no text colours by themselves.
                    NamedPalette{"yellowAccent",
                                 withHighlight(lightPalette(), QColor(255, 220, 0))},
                    NamedPalette{"navyAccent", withHighlight(darkPalette(), QColor(0, 0, 96))}));
