#include "Platform/Desktop/ApplicationInterface.h"

#include <array>
#include <utility>

namespace tandrel {

namespace {

constexpr std::array<std::pair<AppCommand::Kind, const char*>, 4> actions{{
    {AppCommand::Kind::start, "start"},
    {AppCommand::Kind::stop, "stop"},
    {AppCommand::Kind::show, "show"},
    {AppCommand::Kind::quit, "quit"},
}};

std::string activationToken(const QVariantMap& platformData) {
    for (const auto& key :
         {QStringLiteral("activation-token"), QStringLiteral("desktop-startup-id")}) {
        const QString token = platformData.value(key).toString();
        if (!token.isEmpty()) {
            return token.toStdString();
        }
    }
    return {};
}

} // namespace

QString ApplicationInterface::actionOf(AppCommand::Kind kind) {
    for (const auto& [action, text] : actions) {
        if (action == kind) {
            return QLatin1String(text);
        }
    }
    return {};
}

void ApplicationInterface::Activate(const QVariantMap& platformData) {
    handle({AppCommand::Kind::show, {}}, platformData);
}

void ApplicationInterface::Open(const QStringList& uris, const QVariantMap& platformData) {
    for (const QString& uri : uris) {
        handle({AppCommand::Kind::openURL, uri.toStdString()}, platformData);
    }
}

void ApplicationInterface::ActivateAction(const QString& action, const QVariantList& /*parameters*/,
                                          const QVariantMap& platformData) {
    for (const auto& [kind, text] : actions) {
        if (action == QLatin1String(text)) {
            handle({kind, {}}, platformData);
        }
    }
}

void ApplicationInterface::handle(const AppCommand& command,
                                  const QVariantMap& platformData) const {
    if (handler_) {
        handler_(command, activationToken(platformData));
    }
}

} // namespace tandrel
