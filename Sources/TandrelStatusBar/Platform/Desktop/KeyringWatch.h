#pragma once

#include <QDBusConnection>
#include <QObject>

#include <optional>

namespace tandrel {

/// Whether the session bus has a Secret Service, running or to be started on demand: asked for and
/// watched without ever waiting for an answer, and without starting one. Main thread.
class KeyringWatch : public QObject {
    Q_OBJECT

public:
    explicit KeyringWatch(const QDBusConnection& bus, QObject* parent = nullptr);

    /// Nothing until the bus has answered.
    [[nodiscard]] std::optional<bool> isThere() const;

Q_SIGNALS:
    /// After the first answer, and whenever it changes.
    void changed();
    /// A service came: the first, or another one after it.
    void appeared();

private:
    void ask();
    void update(std::optional<bool>& fact, bool value);

    QDBusConnection bus_;
    std::optional<bool> isRunning_;
    std::optional<bool> isStartable_;
};

} // namespace tandrel
