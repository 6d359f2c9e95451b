#pragma once

#include <QWidget>

namespace tandrel::bare {

/// A level meter and nothing more: what repainting such a thing costs at least.
class BareMeter : public QWidget {
public:
    explicit BareMeter(QWidget* parent);

    /// `level` in 0...1; repaints at once.
    void setLevel(double level);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    double level_ = 0;
};

} // namespace tandrel::bare
