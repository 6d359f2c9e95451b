#pragma once

#include <QRect>
#include <QString>

#include <functional>

namespace tandrel {

/// The program's place in the system tray. Main thread.
class StatusItem {
public:
    /// What happens to the item; called from the event loop.
    struct Handlers {
        std::function<void()> clicked;
        std::function<void()> openChosen;
        std::function<void()> quitChosen;
        /// A tray took the item, or went away.
        std::function<void(bool isPresent)> presenceChanged;
    };

    StatusItem() = default;
    StatusItem(const StatusItem&) = delete;
    StatusItem& operator=(const StatusItem&) = delete;
    virtual ~StatusItem() = default;

    /// Whether there is a tray that shows the item.
    [[nodiscard]] virtual bool isPresent() const = 0;
    /// Where it is on the screen; empty when the tray does not tell.
    [[nodiscard]] virtual QRect geometry() const = 0;

    virtual void setToolTip(const QString& text) = 0;
    /// Marks the icon while the microphone is open.
    virtual void setMicrophoneOpen(bool isOpen) = 0;
};

} // namespace tandrel
