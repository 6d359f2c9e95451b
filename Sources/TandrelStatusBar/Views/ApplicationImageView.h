#pragma once

#include <QWidget>

namespace tandrel {

/// The application's image, a square of a given size in points. Decoration.
class ApplicationImageView : public QWidget {
    Q_OBJECT
public:
    explicit ApplicationImageView(qreal points, QWidget* parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    qreal points_;
};

} // namespace tandrel
