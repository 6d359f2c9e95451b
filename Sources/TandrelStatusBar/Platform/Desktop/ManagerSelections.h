#pragma once

#include <QObject>

#include <map>
#include <memory>
#include <string>
#include <vector>

class QSocketNotifier;

namespace tandrel {

/// Who manages what on the X screen (ICCCM, section 2.8): the system tray and the compositor each
/// own a selection. Watched by events, over a connection of its own: the toolkit's has an event
/// mask that is not ours to change. Main thread.
class ManagerSelections : public QObject {
    Q_OBJECT

public:
    /// `names` without the screen number that each ends in, such as "_NET_SYSTEM_TRAY_S". On a
    /// system without X nothing is ever owned.
    explicit ManagerSelections(const std::vector<std::string>& names, QObject* parent = nullptr);
    ~ManagerSelections() override;

    /// As the events have told.
    [[nodiscard]] bool isOwned(const std::string& name) const;
    /// Asks the X server. For managers that do not announce themselves, as some compositors.
    [[nodiscard]] bool isOwnedNow(const std::string& name);

Q_SIGNALS:
    void changed();

private:
    class Connection;
    void readEvents();

    std::unique_ptr<Connection> connection_;
    std::unique_ptr<QSocketNotifier> notifier_;
};

} // namespace tandrel
