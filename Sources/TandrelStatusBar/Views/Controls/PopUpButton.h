#pragma once

#include <QComboBox>

namespace tandrel {

/// A choice of one among several, with the platform's own list behind a rounded control.
class PopUpButton : public QComboBox {
    Q_OBJECT
public:
    explicit PopUpButton(QWidget* parent = nullptr);

    /// The text of the chosen row; without one, the placeholder.
    [[nodiscard]] QString shownText() const;

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;
    /// The list takes the width of its rows up to a limit, then they are elided.
    void showPopup() override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    bool event(QEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void updateFont();
};

} // namespace tandrel
