#pragma once

#include <QObject>

class QScreen;

namespace tandrel {

/// Tells when screens come, go, move, or have more or less room beside their panels. Main thread.
class ScreenWatch : public QObject {
    Q_OBJECT

public:
    explicit ScreenWatch(QObject* parent = nullptr);

Q_SIGNALS:
    /// Once for all that changed together, from the event loop.
    void changed();

private:
    void watch(const QScreen* screen);
    void announce();

    bool isAnnounced_ = false;
};

} // namespace tandrel
