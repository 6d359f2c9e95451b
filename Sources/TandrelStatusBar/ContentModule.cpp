#include "ContentModule.h"

#include "BuildConfig.h"

#include <QCoreApplication>
#include <QLibrary>

#include <cstdio>

namespace tandrel {

namespace {

/// The library's entry of that name; null, and a line on standard error, when there is none.
QFunctionPointer entryNamed(const char* name) {
    QLibrary library(QCoreApplication::applicationDirPath() + QLatin1String(config::contentModule));
    const QFunctionPointer entry = library.resolve(name);
    if (entry == nullptr) {
        std::fprintf(stderr, "quorvane-tandrel: %s\n", qPrintable(library.errorString()));
    }
    return entry;
}

} // namespace

bool ContentModule::load() {
    if (make_ == nullptr) {
        make_ = reinterpret_cast<MakeAppContent>(entryNamed(makeAppContentName));
    }
    if (make_ != nullptr && makeUpdater_ == nullptr) {
        makeUpdater_ = reinterpret_cast<MakeUpdater>(entryNamed(makeUpdaterName));
    }
    return make_ != nullptr;
}

std::optional<int> ContentModule::runDoctor(const std::string& backendURL, doctor::Format format) {
    const auto run = reinterpret_cast<doctor::Run>(entryNamed(doctor::runName));
    return run == nullptr ? std::nullopt : std::optional(run(backendURL, format));
}

std::unique_ptr<AppContent> ContentModule::makeContent(const AppContent::Request& request) {
    return std::unique_ptr<AppContent>(load() ? make_(request) : nullptr);
}

std::unique_ptr<UpdaterController> ContentModule::makeUpdater(const UpdaterRequest& request) {
    const bool isThere = load() && makeUpdater_ != nullptr;
    return std::unique_ptr<UpdaterController>(isThere ? makeUpdater_(request) : nullptr);
}

} // namespace tandrel
