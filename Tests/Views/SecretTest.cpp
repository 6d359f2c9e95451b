#include "Views/Secret.h"

#include <gtest/gtest.h>

namespace tandrel {
namespace {

TEST(Secret, IsOverwrittenInEveryStringThatSharesIt) {
    QString text = QString::fromUtf8("correct horse");
    const QString sharing = text;
    wipe(text);
    EXPECT_TRUE(text.isEmpty());
    EXPECT_EQ(sharing, QString(13, u'\0'));
}

TEST(Secret, LeavesLiteralsAlone) {
    QString text = QStringLiteral("literal");
    const QString sharing = text;
    wipe(text);
    EXPECT_TRUE(text.isEmpty());
    EXPECT_EQ(sharing, QStringLiteral("literal"));
}

TEST(Secret, LeavesOtherCopiesAlone) {
    QString text = QString::fromUtf8("one");
    const QString copy = QString(text.constData(), text.size());
    wipe(text);
    EXPECT_EQ(copy, QStringLiteral("one"));
}

TEST(Secret, IsHandedOnAsUtf8) {
    EXPECT_EQ(secretUtf8(QString::fromUtf8(" pässwörd€ ")), " pässwörd€ ");
    EXPECT_EQ(secretUtf8({}), "");
}

} // namespace
} // namespace tandrel
