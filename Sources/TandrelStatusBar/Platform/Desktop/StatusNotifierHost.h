#pragma once

#include <QDBusConnection>
#include <QObject>

#include <optional>

namespace tandrel {

/// Whether somebody shows StatusNotifierItems: asked for and watched on the session bus without
/// ever waiting for an answer. Main thread.
class StatusNotifierHost : public QObject {
    Q_OBJECT

public:
    explicit StatusNotifierHost(const QDBusConnection& bus, QObject* parent = nullptr);

    /// Nothing until the first answer.
    [[nodiscard]] std::optional<bool> isRegistered() const { return isRegistered_; }

Q_SIGNALS:
    /// After the first answer, and whenever it changes.
    void changed();

private Q_SLOTS:
    void ask();

private:
    void answer(bool isRegistered);

    QDBusConnection bus_;
    std::optional<bool> isRegistered_;
    /// Counts the questions; only the answer to the last one counts.
    unsigned question_ = 0;
};

} // namespace tandrel
