#pragma once

#include <QLineEdit>

namespace tandrel {

/// A text field with a rounded border, which the keyboard's focus colours.
class TextField : public QLineEdit {
    Q_OBJECT
public:
    /// The placeholder is the accessible name too.
    explicit TextField(const QString& placeholder, QWidget* parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;
    void changeEvent(QEvent* event) override;
    void initStyleOption(QStyleOptionFrame* option) const override;

private:
    void updateMetrics();
};

} // namespace tandrel
