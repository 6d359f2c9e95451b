#pragma once

#include "Views/Controls/Theme.h"

#include <QWidget>

namespace tandrel {

/// A filled circle of 6 x 6 points. Decoration.
class StatusDot : public QWidget {
    Q_OBJECT
public:
    explicit StatusDot(ColorRole role, QWidget* parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    ColorRole role_;
};

} // namespace tandrel
