#pragma once

#include <QProgressBar>

namespace tandrel {

/// How much of something is done, as a thin bar; assistive technology reads the percentage.
class ProgressBar : public QProgressBar {
    Q_OBJECT
public:
    explicit ProgressBar(const QString& accessibleName, QWidget* parent = nullptr);

    /// 0...1; steps that nobody could see are not drawn.
    void setProgress(double progress);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;
};

} // namespace tandrel
