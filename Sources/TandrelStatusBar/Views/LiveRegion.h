#pragma once

#include <QString>
#include <QWidget>

namespace tandrel {

/// A part of the interface that speaks for itself. To assistive technology it is one thing, a
/// notification whose name is its text; it is announced when it comes into view, and when it has
/// news while it is there. Main thread.
class LiveRegion : public QWidget {
    Q_OBJECT
public:
    explicit LiveRegion(QWidget* parent = nullptr);

    /// What stands there as one text.
    [[nodiscard]] virtual QString text() const = 0;

protected:
    /// What is worth an announcement of all that the text says, once the text says it. The same
    /// again is no news, nor is what is replaced within a turn of the event loop.
    void setNews(const QString& news);
    void showEvent(QShowEvent* event) override;

private:
    void announce();

    QString news_;
    QString announced_;
    bool isAnnouncing_ = false;
};

} // namespace tandrel
