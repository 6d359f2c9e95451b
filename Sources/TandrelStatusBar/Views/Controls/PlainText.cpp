#include "Views/Controls/PlainText.h"

#include <QChar>
#include <QTextDocument>

namespace tandrel {

namespace {

constexpr qsizetype maximumLength = 1000;

bool turnsDirection(QChar character) {
    const char16_t code = character.unicode();
    return (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

bool breaksLine(QChar character) {
    return character.category() == QChar::Other_Control ||
           character.category() == QChar::Separator_Line ||
           character.category() == QChar::Separator_Paragraph;
}

QString harmless(const QString& text, bool keepsLineBreaks) {
    QString result = text.left(maximumLength);
    for (QChar& character : result) {
        if (keepsLineBreaks && character == QLatin1Char('\n')) {
            continue;
        }
        if (breaksLine(character) || turnsDirection(character)) {
            character = QLatin1Char(' ');
        }
    }
    if (text.size() > maximumLength) {
        if (result.back().isHighSurrogate()) {
            result.chop(1);
        }
        result += QChar(0x2026);
    }
    return result;
}

} // namespace

QString singleLine(const QString& text) {
    return harmless(text, false);
}

QString plainLines(const QString& text) {
    return harmless(text, true);
}

QString plainToolTip(const QString& text) {
    return Qt::mightBeRichText(text) ? Qt::convertFromPlainText(text, Qt::WhiteSpaceNormal) : text;
}

} // namespace tandrel
