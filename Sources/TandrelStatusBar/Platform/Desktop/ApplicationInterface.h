#pragma once

#include "Platform/AppCommand.h"

#include <QObject>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

#include <functional>
#include <string>

namespace tandrel {

/// The D-Bus interface by which the desktop, and further starts of the program, reach the running
/// one. Its slots are the interface's methods. Main thread.
class ApplicationInterface : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    static constexpr const char* name = "org.freedesktop.Application";
    /// `activationToken`: the permission to take the focus; may be empty.
    using Handler = std::function<void(const AppCommand& command, std::string activationToken)>;

    void setHandler(Handler handler) { handler_ = std::move(handler); }

    /// The action of `ActivateAction` for a command; empty for one that is no action.
    [[nodiscard]] static QString actionOf(AppCommand::Kind kind);

public Q_SLOTS:
    void Activate(const QVariantMap& platformData);
    void Open(const QStringList& uris, const QVariantMap& platformData);
    void ActivateAction(const QString& action, const QVariantList& parameters,
                        const QVariantMap& platformData);

private:
    void handle(const AppCommand& command, const QVariantMap& platformData) const;

    Handler handler_;
};

} // namespace tandrel
