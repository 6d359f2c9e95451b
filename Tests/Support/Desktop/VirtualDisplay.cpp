#include "Support/Desktop/VirtualDisplay.h"

#include "Support/WaitUntil.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <utility>
#include <xcb/xcb.h>

namespace tandrel::test {

namespace {

struct Disconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

/// A connection for one question. A new one each time: the test's other threads and forks have
/// nothing to do with it, and a server that died cannot leave a broken one behind.
class Question {
public:
    explicit Question(const std::string& display)
        : connection_(xcb_connect(display.c_str(), nullptr)) {}

    [[nodiscard]] xcb_connection_t* connection() const { return connection_.get(); }
    [[nodiscard]] bool isConnected() const {
        return xcb_connection_has_error(connection_.get()) == 0;
    }
    [[nodiscard]] xcb_window_t root() const {
        return xcb_setup_roots_iterator(xcb_get_setup(connection())).data->root;
    }
    /// XCB_ATOM_NONE when nobody has ever spoken of it.
    [[nodiscard]] xcb_atom_t atom(const std::string& name) const {
        const auto cookie =
            xcb_intern_atom(connection(), 1, static_cast<std::uint16_t>(name.size()), name.c_str());
        const std::unique_ptr<xcb_intern_atom_reply_t, Free> reply(
            xcb_intern_atom_reply(connection(), cookie, nullptr));
        return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
    }

private:
    std::unique_ptr<xcb_connection_t, Disconnect> connection_;
};

} // namespace

VirtualDisplay::VirtualDisplay(std::filesystem::path folder)
    : folder_(std::move(folder)) {
    const std::string screen = std::to_string(width) + 'x' + std::to_string(height) + "x24";
    const auto number = folder_ / "display";
    server_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{"sh", "-c",
                                 "exec Xvfb -displayfd 3 -screen 0 " + screen +
                                     " -nolisten tcp -noreset 3>\"$0\"",
                                 number.string()},
        EnvironmentChanges{{"DISPLAY", ""}}, folder_ / "display.log");
    const bool isReady = waitUntil(
        [&] {
            std::string text;
            std::ifstream file(number);
            // A number without an end of line may not be all of it.
            if (!std::getline(file, text) || file.eof()) {
                return false;
            }
            name_ = ':' + text;
            return true;
        },
        std::chrono::seconds(10));
    if (!isReady) {
        throw std::runtime_error("no display; see " + (folder_ / "display.log").string());
    }
}

EnvironmentChanges VirtualDisplay::clientEnvironment() const {
    return {{"DISPLAY", name_},
            {"WAYLAND_DISPLAY", ""},
            {"XAUTHORITY", ""},
            {"QT_QPA_PLATFORM", "xcb"}};
}

bool VirtualDisplay::saveScreenshot(const std::filesystem::path& file) const {
    return ChildProcess::run({"import", "-silent", "-window", "root", file.string()},
                             clientEnvironment())
               .exitCode == 0;
}

bool VirtualDisplay::awaitWindow(const std::string& title) const {
    return waitUntil(
        [&] {
            return ChildProcess::run({"sh", "-c",
                                      "exec xdotool search --onlyvisible --name \"^$0\\$\" 2>&1",
                                      title},
                                     clientEnvironment())
                       .exitCode == 0;
        },
        std::chrono::seconds(10));
}

bool VirtualDisplay::hasSelectionOwner(const std::string& name) const {
    const Question question(name_);
    if (!question.isConnected()) {
        return false;
    }
    const auto cookie = xcb_get_selection_owner(question.connection(), question.atom(name));
    const std::unique_ptr<xcb_get_selection_owner_reply_t, Free> reply(
        xcb_get_selection_owner_reply(question.connection(), cookie, nullptr));
    return reply && reply->owner != XCB_WINDOW_NONE;
}

bool VirtualDisplay::hasRootProperty(const std::string& name) const {
    const Question question(name_);
    if (!question.isConnected()) {
        return false;
    }
    const auto cookie = xcb_get_property(question.connection(), 0, question.root(),
                                         question.atom(name), XCB_ATOM_ANY, 0, 1);
    const std::unique_ptr<xcb_get_property_reply_t, Free> reply(
        xcb_get_property_reply(question.connection(), cookie, nullptr));
    return reply && reply->type != XCB_ATOM_NONE;
}

} // namespace tandrel::test
