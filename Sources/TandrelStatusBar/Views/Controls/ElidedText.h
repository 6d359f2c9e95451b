#pragma once

#include <QFont>
#include <QString>
#include <QStringList>

class QPainter;
class QRectF;

namespace tandrel {

/// Plain text broken into lines of a width, of which the last is elided where more would follow.
class ElidedText {
public:
    /// At most `maximumLines` lines; 0 for as many as it takes.
    ElidedText(const QString& text, const QFont& font, qreal width, int maximumLines);

    [[nodiscard]] int lineCount() const { return int(lines_.size()); }
    [[nodiscard]] bool isElided() const { return isElided_; }
    [[nodiscard]] const QStringList& lines() const { return lines_; }

    /// Draws the lines in the painter's pen, placed in `area` by `alignment`.
    void draw(QPainter& painter, const QRectF& area, Qt::Alignment alignment) const;

private:
    QFont font_;
    QStringList lines_;
    bool isElided_ = false;
};

} // namespace tandrel
