#pragma once

#include "Views/Controls/Button.h"
#include "Views/Controls/Symbol.h"
#include "Views/Controls/Theme.h"

#include <QFont>

#include <optional>

namespace tandrel {

/// A button that looks like text, with a symbol before it, after it, or instead of it. Without a
/// text it needs an accessible name.
class PlainButton : public Button {
    Q_OBJECT
public:
    PlainButton(const QString& text, qreal points, ColorRole role, QWidget* parent = nullptr);

    void setRole(ColorRole role);
    void setLeadingSymbol(Symbol symbol, qreal points);
    /// At the far edge, however wide the button is.
    void setTrailingSymbol(Symbol symbol, qreal points);

    [[nodiscard]] ColorRole role() const { return role_; }
    [[nodiscard]] std::optional<Symbol> leadingSymbol() const;

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    [[nodiscard]] QRect visibleShape() const override;
    void updateFont() override;

private:
    struct SizedSymbol {
        Symbol symbol;
        qreal points;
    };

    [[nodiscard]] bool isIconOnly() const { return text().isEmpty() && leading_.has_value(); }
    [[nodiscard]] QSize contentSize() const;
    [[nodiscard]] QColor ink() const;
    void drawSymbol(QPainter& painter, const SizedSymbol& symbol, int left) const;

    qreal points_;
    ColorRole role_;
    std::optional<SizedSymbol> leading_;
    std::optional<SizedSymbol> trailing_;
};

} // namespace tandrel
