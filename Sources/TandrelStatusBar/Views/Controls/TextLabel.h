#pragma once

#include "Views/Controls/Theme.h"

#include <QFont>
#include <QLabel>

namespace tandrel {

/// Plain text of a given size and meaning. Follows the user's font and colours. It takes any text:
/// tags stand as they are, control characters as spaces.
class TextLabel : public QLabel {
    Q_OBJECT
public:
    TextLabel(const QString& text, qreal points, ColorRole role = ColorRole::primary,
              QFont::Weight weight = QFont::Normal, QWidget* parent = nullptr);

    /// Hides `QLabel::setText`, which would take control characters as they are.
    void setText(const QString& text);
    void setRole(ColorRole role);
    void setItalic(bool italic);
    /// All digits take the width of the widest, so that a running time does not tremble. For a
    /// single line.
    void setMonospacedDigits(bool monospaced);
    /// Wraps into at most `lines` lines (0: as many as it takes); 1, the default, does not wrap.
    /// What does not fit is elided, with the whole text as the tool tip.
    void setMaximumLines(int lines);
    /// Where a single line loses what does not fit; at its end by default.
    void setElideMode(Qt::TextElideMode mode);

    [[nodiscard]] ColorRole role() const { return role_; }

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;
    [[nodiscard]] bool hasHeightForWidth() const override;
    [[nodiscard]] int heightForWidth(int width) const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void updateFont();
    void updateToolTip();
    [[nodiscard]] bool wraps() const { return maximumLines_ != 1; }
    [[nodiscard]] qreal naturalWidth() const;

    qreal points_;
    ColorRole role_;
    QFont::Weight weight_;
    bool italic_ = false;
    bool monospacedDigits_ = false;
    int maximumLines_ = 1;
    Qt::TextElideMode elideMode_ = Qt::ElideRight;
    /// Of the text that does not fit; this tool tip is ours to remove.
    bool hasElisionToolTip_ = false;
};

} // namespace tandrel
