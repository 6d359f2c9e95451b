#pragma once

#include <QMargins>
#include <QWidget>

namespace tandrel {

/// The popover's ground: a card around its content, as large as the content asks for. With the
/// shadow, for translucent windows, it has round corners and a margin for the shadow; without, it
/// fills its window.
class PopoverCard : public QWidget {
    Q_OBJECT
public:
    /// Takes over `content`.
    explicit PopoverCard(QWidget* content, QWidget* parent = nullptr);

    void setShadowVisible(bool visible);
    [[nodiscard]] bool isShadowVisible() const { return shadowVisible_; }
    /// The room that the shadow takes on each side; none without it.
    [[nodiscard]] QMargins shadowMargins() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void updateMargins();

    bool shadowVisible_ = true;
};

} // namespace tandrel
