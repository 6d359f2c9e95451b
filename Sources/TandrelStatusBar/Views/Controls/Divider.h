#pragma once

#include <QWidget>

namespace tandrel {

/// A hairline across its container.
class Divider : public QWidget {
    Q_OBJECT
public:
    explicit Divider(QWidget* parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;
};

} // namespace tandrel
