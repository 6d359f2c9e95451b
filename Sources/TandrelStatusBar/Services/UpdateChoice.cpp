#include "Services/UpdateChoice.h"

#include "Services/VersionComparison.h"

namespace tandrel {

namespace {

bool runsOn(const AppcastItem& item, const std::string& systemVersion) {
    return item.minimumSystemVersion.empty() || systemVersion.empty() ||
           compareVersions(item.minimumSystemVersion, systemVersion) <= 0;
}

bool isNewer(const AppcastItem& item, const AppcastItem* than) {
    return than == nullptr || compareVersions(item.version, than->version) > 0;
}

} // namespace

UpdateChoice chooseUpdate(const Appcast& appcast, const std::string& installedVersion,
                          const std::string& systemVersion) {
    const AppcastItem* fitting = nullptr;
    const AppcastItem* newest = nullptr;
    for (const AppcastItem& item : appcast) {
        if (isNewer(item, newest)) {
            newest = &item;
        }
        if (runsOn(item, systemVersion) && isNewer(item, fitting)) {
            fitting = &item;
        }
    }
    using Kind = UpdateChoice::Kind;
    if (newest == nullptr) {
        return {};
    }
    if (fitting != nullptr && compareVersions(fitting->version, installedVersion) > 0) {
        return {Kind::available, *fitting};
    }
    const auto order = compareVersions(newest->version, installedVersion);
    if (order > 0) {
        return {Kind::systemTooOld, *newest};
    }
    return order < 0 ? UpdateChoice{Kind::onlyOlder, *newest} : UpdateChoice{};
}

} // namespace tandrel
