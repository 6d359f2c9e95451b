#include "Support/Desktop/WaylandDisplay.h"

#include "Support/WaitUntil.h"

#include <chrono>
#include <stdexcept>
#include <utility>

namespace tandrel::test {

namespace {

constexpr const char* socketName = "wayland";

} // namespace

WaylandDisplay::WaylandDisplay(std::filesystem::path folder)
    : folder_(std::move(folder))
    // Debugging is what lets a client take pictures of the screen.
    , compositor_({"weston", "--backend=headless-backend.so", "--use-pixman", "--width=800",
                   "--height=700", std::string("--socket=") + socketName, "--no-config",
                   "--idle-time=0", "--debug"},
                  {{"XDG_RUNTIME_DIR", folder_.string()}, {"WAYLAND_DISPLAY", ""}, {"DISPLAY", ""}},
                  folder_ / "compositor.log") {
    const auto shellIsUp = [this] {
        return ChildProcess::run({"weston-info"}, clientEnvironment()).text.find("xdg_wm_base") !=
               std::string::npos;
    };
    if (!waitUntil([this] { return std::filesystem::exists(folder_ / socketName); },
                   std::chrono::seconds(10)) ||
        !waitUntil(shellIsUp, std::chrono::seconds(10))) {
        throw std::runtime_error("no compositor; see " + (folder_ / "compositor.log").string());
    }
}

EnvironmentChanges WaylandDisplay::clientEnvironment() const {
    return {{"WAYLAND_DISPLAY", (folder_ / socketName).string()},
            {"DISPLAY", ""},
            {"XAUTHORITY", ""},
            {"QT_QPA_PLATFORM", "wayland"}};
}

bool WaylandDisplay::saveScreenshot(const std::filesystem::path& file) const {
    // It chooses the name itself.
    const auto shots = folder_ / "shots";
    std::filesystem::create_directories(shots);
    const auto run = ChildProcess::run(
        {"sh", "-c", "cd \"$0\" && rm -f *.png && weston-screenshooter 2>&1", shots.string()},
        clientEnvironment());
    if (run.exitCode != 0) {
        return false;
    }
    for (const auto& entry : std::filesystem::directory_iterator(shots)) {
        std::filesystem::copy_file(entry.path(), file,
                                   std::filesystem::copy_options::overwrite_existing);
        return true;
    }
    return false;
}

} // namespace tandrel::test
