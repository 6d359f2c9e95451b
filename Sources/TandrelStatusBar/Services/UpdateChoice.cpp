#include "Services/UpdateChoice.h"

#include "Services/VersionComparison.h"

#include <compare>

namespace tandrel {

namespace {

bool runsOn(const AppcastItem& item, const std::string& systemVersion) {
    return item.minimumSystemVersion.empty() || systemVersion.empty() ||
           std::is_lteq(compareVersions(item.minimumSystemVersion, systemVersion));
}

bool isNewer(const AppcastItem& item, const AppcastItem* than) {
    return than == nullptr || std::is_gt(compareVersions(item.version, than->version));
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
    if (fitting != nullptr && std::is_gt(compareVersions(fitting->version, installedVersion))) {
        return {Kind::available, *fitting};
    }
    const auto order = compareVersions(newest->version, installedVersion);
    if (std::is_gt(order)) {
        return {Kind::systemTooOld, *newest};
    }
    return std::is_lt(order) ? UpdateChoice{Kind::onlyOlder, *newest} : UpdateChoice{};
}

} // namespace tandrel
