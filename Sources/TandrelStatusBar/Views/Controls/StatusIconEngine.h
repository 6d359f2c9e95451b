#pragma once

#include <QIconEngine>
#include <QString>

namespace tandrel {

/// Draws the status item's icon in the sizes that a tray asks for, and tells the name of the
/// theme's icon without loading a theme, which would take longer than all else that precedes the
/// icon.
class StatusIconEngine : public QIconEngine {
public:
    /// `themeName` is empty when no theme has the icon.
    StatusIconEngine(QString themeName, bool isMicrophoneOpen);

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override;
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override;
    [[nodiscard]] QIconEngine* clone() const override;
    QString iconName() override { return themeName_; }
    bool isNull() override { return false; }
    QList<QSize> availableSizes(QIcon::Mode mode, QIcon::State state) override;

private:
    QString themeName_;
    bool isMicrophoneOpen_;
};

} // namespace tandrel
