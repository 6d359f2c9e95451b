#include "Support/Desktop/StatusNotifierTray.h"

#include "BuildPaths.h"
#include "Support/PrivateBus.h"
#include "Support/WaitUntil.h"

#include <chrono>
#include <stdexcept>

namespace tandrel::test {

namespace {

const QString watcherName = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString watcherPath = QStringLiteral("/StatusNotifierWatcher");

std::vector<std::string> command(StatusNotifierTray::Start start) {
    std::vector<std::string> words{TANDREL_BUILD_BIN "/status-notifier-host"};
    if (start == StatusNotifierTray::Start::withoutHost) {
        words.emplace_back("--without-host");
    }
    return words;
}

} // namespace

StatusNotifierTray::StatusNotifierTray(const PrivateBus& bus, const std::filesystem::path& folder,
                                       Start start)
    : watcher_(command(start), bus.clientEnvironment(), folder / "tray.log")
    , bus_(bus.address()) {
    bus.awaitOwner(watcherName.toStdString());
}

std::vector<std::string> StatusNotifierTray::items() const {
    std::vector<std::string> all;
    const auto answer = bus_.property(watcherName, watcherPath, watcherName,
                                      QStringLiteral("RegisteredStatusNotifierItems"));
    for (const QString& item : answer.toStringList()) {
        all.push_back(item.toStdString());
    }
    return all;
}

StatusNotifierItem StatusNotifierTray::awaitItem() const {
    std::vector<std::string> found;
    if (!waitUntil([&] { return !(found = items()).empty(); }, std::chrono::seconds(10))) {
        throw std::runtime_error("no icon came into the panel");
    }
    return {bus_, found.front()};
}

void StatusNotifierTray::registerHost() const {
    (void)bus_.call(watcherName, watcherPath, watcherName,
                    QStringLiteral("RegisterStatusNotifierHost"), {QStringLiteral("panel")});
}

} // namespace tandrel::test
