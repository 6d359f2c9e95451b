#include "LoadedUpdater.h"

#include "ContentModule.h"
#include "Platform/Clock.h"

#include <chrono>
#include <utility>

namespace tandrel {

namespace {

/// When the library is there anyway.
constexpr std::chrono::seconds makingDelay(5);

} // namespace

LoadedUpdater::LoadedUpdater(UpdaterRequest request, ContentModule& module)
    : request_(std::move(request))
    , module_(module) {
    if (!request_.feedURL.empty()) {
        making_ = request_.clock.after(makingDelay, [this] { make(); });
    }
}

LoadedUpdater::~LoadedUpdater() = default;

void LoadedUpdater::make() {
    if (!updater_) {
        updater_ = module_.makeUpdater(request_);
    }
}

void LoadedUpdater::checkForUpdates() {
    make();
    if (updater_) {
        updater_->checkForUpdates();
    }
}

} // namespace tandrel
