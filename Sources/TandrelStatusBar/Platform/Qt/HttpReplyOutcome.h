#pragma once

#include "Platform/HttpTransport.h"

#include <QNetworkReply>
#include <QString>

namespace tandrel {

/// Whether a finished reply is an answer of the server, whatever its status, rather than a failed
/// transfer. A transfer that broke off has a status too, when it broke off in the body.
[[nodiscard]] bool isAnswer(int status, QNetworkReply::NetworkError error);

/// What to tell about a failed transfer. `tlsReason`: why the server's certificate was refused, if
/// it was. `isProxied`: a proxy stood between. Qt's own texts are not used, since some hold the
/// URL.
[[nodiscard]] TransportError transportError(QNetworkReply::NetworkError error,
                                            const QString& tlsReason, bool isProxied = false);

} // namespace tandrel
