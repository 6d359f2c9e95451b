#include "ContentModule.h"

#include "BuildConfig.h"

#include <QCoreApplication>
#include <QLibrary>

#include <cstdio>

namespace tandrel {

bool ContentModule::load() {
    if (make_ == nullptr) {
        QLibrary library(QCoreApplication::applicationDirPath() +
                         QLatin1String(config::contentModule));
        make_ = reinterpret_cast<MakeAppContent>(library.resolve(makeAppContentName));
        makeUpdater_ = reinterpret_cast<MakeUpdater>(library.resolve(makeUpdaterName));
        if (make_ == nullptr) {
            std::fprintf(stderr, "quorvane-tandrel: %s\n", qPrintable(library.errorString()));
        }
    }
    return make_ != nullptr;
}

std::unique_ptr<AppContent> ContentModule::makeContent(const AppContent::Request& request) {
    return std::unique_ptr<AppContent>(load() ? make_(request) : nullptr);
}

std::unique_ptr<UpdaterController> ContentModule::makeUpdater(const UpdaterRequest& request) {
    const bool isThere = load() && makeUpdater_ != nullptr;
    return std::unique_ptr<UpdaterController>(isThere ? makeUpdater_(request) : nullptr);
}

} // namespace tandrel
