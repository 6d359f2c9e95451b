#pragma once

#include <QComboBox>

namespace tandrel {

/// A choice of one among several, with the platform's own list behind a rounded control.
class PopUpButton : public QComboBox {
    Q_OBJECT
public:
    explicit PopUpButton(QWidget* parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void updateFont();
};

} // namespace tandrel
