#include "Platform/Desktop/DesktopUrlOpener.h"

#include "Foundation/UrlSyntax.h"

#include <QProcess>

namespace tandrel {

void DesktopUrlOpener::open(const std::string& url) {
    const bool isPage = url.starts_with("https://") || url.starts_with("http://");
    if (isPage && isValidUrl(url)) {
        QProcess::startDetached(QStringLiteral("xdg-open"), {QString::fromStdString(url)});
    }
}

} // namespace tandrel
