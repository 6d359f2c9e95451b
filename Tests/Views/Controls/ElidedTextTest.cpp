#include "Views/Controls/ElidedText.h"

#include "Views/Controls/Points.h"

#include <QFontMetricsF>

#include <gtest/gtest.h>

using namespace tandrel;

namespace {

const QString words = QStringLiteral("one two three four five six seven eight nine ten eleven");

qreal widthOf(const QString& text) {
    return QFontMetricsF(systemFont(11.0)).horizontalAdvance(text);
}

ElidedText broken(const QString& text, qreal width, int maximumLines) {
    return {text, systemFont(11.0), width, maximumLines};
}

} // namespace

TEST(ElidedText, LeavesWhatFits) {
    const ElidedText text = broken(words, widthOf(words) + 1.0, 1);
    EXPECT_EQ(text.lines(), QStringList{words});
    EXPECT_FALSE(text.isElided());
}

TEST(ElidedText, ElidesOneLine) {
    const ElidedText text = broken(words, widthOf(words) / 2.0, 1);
    ASSERT_EQ(text.lineCount(), 1);
    EXPECT_TRUE(text.isElided());
    EXPECT_TRUE(text.lines().front().endsWith(QChar(0x2026)));
    EXPECT_LE(widthOf(text.lines().front()), widthOf(words) / 2.0);
}

TEST(ElidedText, ElidesTheLastOfSeveralLines) {
    const ElidedText text = broken(words, widthOf(QStringLiteral("one two three 4")), 2);
    ASSERT_EQ(text.lineCount(), 2);
    EXPECT_EQ(text.lines().front(), QStringLiteral("one two three"));
    EXPECT_TRUE(text.lines().back().startsWith(QStringLiteral("four")));
    EXPECT_TRUE(text.lines().back().endsWith(QChar(0x2026)));
    EXPECT_TRUE(text.isElided());
}

TEST(ElidedText, WithoutALimitShowsEveryWord) {
    const ElidedText text = broken(words, widthOf(QStringLiteral("one two three 4")), 0);
    EXPECT_FALSE(text.isElided());
    EXPECT_EQ(text.lines().join(QLatin1Char(' ')), words);
    EXPECT_GT(text.lineCount(), 3);
}

TEST(ElidedText, BreaksAWordThatNoLineHolds) {
    const QString word(60, QLatin1Char('w'));
    const ElidedText text = broken(word, widthOf(word) / 4.0, 0);
    EXPECT_GE(text.lineCount(), 4);
    EXPECT_EQ(text.lines().join(QString()), word);
}

TEST(ElidedText, KeepsLineBreaks) {
    const ElidedText text = broken(QStringLiteral("one\ntwo"), 1000.0, 0);
    EXPECT_EQ(text.lines(), (QStringList{QStringLiteral("one"), QStringLiteral("two")}));
}

TEST(ElidedText, PutsWhatIsLeftOnTheLastLine) {
    const ElidedText text = broken(QStringLiteral("one\ntwo\nthree"), 1000.0, 2);
    EXPECT_EQ(text.lines(), (QStringList{QStringLiteral("one"), QStringLiteral("two three")}));
    EXPECT_FALSE(text.isElided());
}

TEST(ElidedText, NothingIsOneEmptyLine) {
    EXPECT_EQ(broken(QString(), 100.0, 2).lines(), QStringList{QString()});
    EXPECT_EQ(broken(QString(), 100.0, 1).lineCount(), 1);
}

TEST(ElidedText, HugeTextIsBounded) {
    const ElidedText text = broken(QString(100'000, QLatin1Char('\n')), 50.0, 0);
    EXPECT_LE(text.lineCount(), 101);
}
