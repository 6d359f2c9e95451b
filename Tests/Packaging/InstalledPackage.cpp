#include "Packaging/InstalledPackage.h"

#include "Support/FileText.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace tandrel::test {

namespace {

constexpr const char* entry = "usr/share/applications/com.quorvane.Tandrel.desktop";
constexpr const char* service = "usr/share/dbus-1/services/com.quorvane.Tandrel.service";

void runOrThrow(const std::vector<std::string>& command) {
    if (ChildProcess::run(command, {}).exitCode != 0) {
        throw std::runtime_error(command.front() + " failed");
    }
}

} // namespace

InstalledPackage::InstalledPackage(std::filesystem::path folder)
    : folder_(std::move(folder)) {
    unpack();
    writeService();
}

void InstalledPackage::unpack() const {
    const char* package = std::getenv("TANDREL_TEST_PACKAGE");
    if (package == nullptr) {
        throw std::runtime_error("TANDREL_TEST_PACKAGE names no package; ctest does that");
    }
    std::filesystem::create_directories(folder_ / "services");
    runOrThrow({"dpkg-deb", "-x", package, folder_.string()});
    runOrThrow({"update-desktop-database", (folder_ / "usr/share/applications").string()});
}

// The installed one names a path of the system.
void InstalledPackage::writeService() const {
    std::string text = textOf(folder_ / service);
    const std::string before = "Exec=/usr/bin/";
    const auto place = text.find(before);
    if (place == std::string::npos) {
        throw std::runtime_error("the package's service starts nothing in /usr/bin");
    }
    text.replace(place, before.size(), "Exec=" + (folder_ / "usr/bin").string() + '/');
    std::ofstream(services() / std::filesystem::path(service).filename()) << text;
}

EnvironmentChanges InstalledPackage::environment() const {
    return {{"PATH", (folder_ / "usr/bin").string() + ":/usr/bin:/bin"},
            {"XDG_DATA_DIRS", (folder_ / "usr/share").string()},
            {"XDG_CONFIG_DIRS", (folder_ / "etc/xdg").string()}};
}

std::vector<std::string> InstalledPackage::actions() const {
    std::vector<std::string> actions;
    std::istringstream lines(textOf(folder_ / entry));
    const std::string key = "Actions=";
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(key)) {
            std::istringstream names(line.substr(key.size()));
            for (std::string name; std::getline(names, name, ';');) {
                actions.push_back(name);
            }
        }
    }
    return actions;
}

} // namespace tandrel::test
