#include "Views/Controls/PlainText.h"

#include <QTextDocument>

#include <gtest/gtest.h>

using namespace tandrel;

TEST(PlainText, OrdinaryTextStaysAsItIs) {
    const QString text = QStringLiteral("Mikrofon (Büro) – 音声 🎧 <b>&amp;</b>");
    EXPECT_EQ(singleLine(text), text);
    EXPECT_EQ(plainLines(text), text);
}

TEST(PlainText, ControlCharactersBecomeSpaces) {
    EXPECT_EQ(singleLine(QStringLiteral("a\nb\tc\rd\x1b[e\x7f") + QChar(0)),
              QStringLiteral("a b c d [e  "));
    EXPECT_EQ(singleLine(QString(QChar(0x2028)) + QChar(0x85) + QChar(0x2029)),
              QStringLiteral("   "));
}

TEST(PlainText, NothingTurnsTheDirectionOfWhatFollows) {
    EXPECT_EQ(singleLine(QStringLiteral("a\u202eb\u2066c\u2069d")), QStringLiteral("a b c d"));
}

TEST(PlainText, LinesKeepTheirBreaks) {
    EXPECT_EQ(plainLines(QStringLiteral("a\nb\rc")), QStringLiteral("a\nb c"));
}

TEST(PlainText, HugeTextIsCut) {
    const QString cut = singleLine(QString(1'000'000, QLatin1Char('x')));
    EXPECT_EQ(cut.size(), 1001);
    EXPECT_TRUE(cut.endsWith(QChar(0x2026)));
}

TEST(PlainText, ACutLeavesNoHalfCharacter) {
    QString text(999, QLatin1Char('x'));
    text += QStringLiteral("🎧🎧");
    const QString cut = singleLine(text);
    EXPECT_EQ(cut, QString(999, QLatin1Char('x')) + QChar(0x2026));
}

TEST(PlainText, AToolTipShowsTagsAsTheyAre) {
    const QString hostile = QStringLiteral("<b>bold</b><img src=\"file:///etc/passwd\">");
    const QString toolTip = plainToolTip(hostile);
    EXPECT_NE(toolTip, hostile);
    QTextDocument document;
    document.setHtml(toolTip);
    EXPECT_EQ(document.toPlainText(), hostile);
}

TEST(PlainText, AToolTipWithoutTagsIsTheText) {
    EXPECT_EQ(plainToolTip(QStringLiteral("a < b & c")), QStringLiteral("a < b & c"));
}
