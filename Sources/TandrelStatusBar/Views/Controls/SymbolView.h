#pragma once

#include "Views/Controls/Symbol.h"
#include "Views/Controls/Theme.h"

#include <QWidget>

namespace tandrel {

/// A symbol beside text of a given size. Decoration: what it says stands in the text.
class SymbolView : public QWidget {
    Q_OBJECT
public:
    SymbolView(Symbol symbol, qreal points, ColorRole role, QWidget* parent = nullptr);

    void setSymbol(Symbol symbol);
    void setRole(ColorRole role);
    [[nodiscard]] Symbol symbol() const { return symbol_; }
    [[nodiscard]] ColorRole role() const { return role_; }

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    Symbol symbol_;
    qreal points_;
    ColorRole role_;
};

} // namespace tandrel
