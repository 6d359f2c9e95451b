#pragma once

#include "Views/Controls/Button.h"
#include "Views/Controls/Symbol.h"
#include "Views/Controls/Theme.h"

#include <optional>

namespace tandrel {

class Spinner;

/// The main action: filled with a tint, as wide as its container; grey while disabled.
class ProminentButton : public Button {
    Q_OBJECT
public:
    explicit ProminentButton(const QString& text = {}, QWidget* parent = nullptr);

    void setTint(ColorRole role);
    void setSymbol(std::optional<Symbol> symbol);
    /// While busy a spinner stands in place of the label.
    void setBusy(bool busy);

    [[nodiscard]] ColorRole tint() const { return tint_; }
    [[nodiscard]] std::optional<Symbol> symbol() const { return symbol_; }
    [[nodiscard]] bool isBusy() const { return busy_; }

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;
    void updateFont() override;

private:
    [[nodiscard]] QColor fill() const;
    [[nodiscard]] QColor ink() const;
    [[nodiscard]] bool isEdged() const;
    [[nodiscard]] QColor edge() const;
    void drawLabel(QPainter& painter) const;
    void placeSpinner();

    ColorRole tint_ = ColorRole::accent;
    std::optional<Symbol> symbol_;
    bool busy_ = false;
    Spinner* spinner_;
};

} // namespace tandrel
