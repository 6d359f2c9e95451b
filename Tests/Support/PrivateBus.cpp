#include "Support/PrivateBus.h"

#include "Support/WaitUntil.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace tandrel::test {

namespace {

constexpr std::chrono::seconds limit(10);

bool takesConnections(const std::filesystem::path& path) {
    const int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    const bool connected =
        connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(client);
    return connected;
}

} // namespace

PrivateBus::PrivateBus(std::filesystem::path folder, const Activation& activation)
    : folder_(std::move(folder)) {
    std::filesystem::remove(folder_ / "bus");
    const std::string services =
        activation.services.empty()
            ? std::string()
            : "  <servicedir>" + activation.services.string() + "</servicedir>\n";
    std::ofstream(folder_ / "bus.conf")
        << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
           "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig>\n"
           "  <type>session</type>\n"
           "  <listen>"
        << address() << "</listen>\n"
        << services
        << "  <auth>EXTERNAL</auth>\n"
           "  <policy context=\"default\">\n"
           "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
           "    <allow eavesdrop=\"true\"/>\n"
           "    <allow own=\"*\"/>\n"
           "  </policy>\n"
           "</busconfig>\n";
    daemon_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{"dbus-daemon", "--nofork",
                                 "--config-file=" + (folder_ / "bus.conf").string()},
        activation.environment, folder_ / "bus.log");
    if (!waitUntil([this] { return takesConnections(folder_ / "bus"); }, limit)) {
        throw std::runtime_error("the bus does not start; see " + (folder_ / "bus.log").string());
    }
}

PrivateBus::~PrivateBus() {
    if (isDefault_) {
        unsetenv("DBUS_SESSION_BUS_ADDRESS");
    }
}

std::string PrivateBus::address() const {
    return "unix:path=" + (folder_ / "bus").string();
}

EnvironmentChanges PrivateBus::clientEnvironment() const {
    return {{"DBUS_SESSION_BUS_ADDRESS", address()}};
}

void PrivateBus::makeDefault() {
    setenv("DBUS_SESSION_BUS_ADDRESS", address().c_str(), 1);
    isDefault_ = true;
}

bool PrivateBus::hasOwner(const std::string& name) const {
    const auto reply = ChildProcess::run({"dbus-send", "--session", "--print-reply=literal",
                                          "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
                                          "org.freedesktop.DBus.NameHasOwner", "string:" + name},
                                         clientEnvironment());
    return reply.text.find("true") != std::string::npos;
}

void PrivateBus::awaitOwner(const std::string& name) const {
    if (!waitUntil([&] { return hasOwner(name); }, limit)) {
        throw std::runtime_error("nobody owns " + name + "; see the logs in " + folder_.string());
    }
}

void PrivateBus::awaitRelease(const std::string& name) const {
    if (!waitUntil([&] { return !hasOwner(name); }, limit)) {
        throw std::runtime_error("somebody still owns " + name);
    }
}

} // namespace tandrel::test
