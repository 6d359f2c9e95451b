#include "Platform/Qt/QtHttpTransport.h"
#include "Support/EnvironmentVariable.h"
#include "Support/Names/NamedHosts.h"
#include "Support/Qt/HttpCall.h"
#include "Support/Qt/ScriptedHttpServer.h"
#include "Support/WebSocket/ProxyServer.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace tandrel {
namespace {

using test::EnvironmentVariable;
using test::get;
using test::ProxyServer;
using test::ScriptedHttpServer;
using testing::ElementsAre;
using testing::StartsWith;

/// Writes the settings as GNOME's own dialogue does, but to a file of this test's own.
void writeSettings(const ProxyServer& proxy) {
    const auto folder = std::filesystem::path(std::getenv("XDG_CONFIG_HOME")) / "glib-2.0/settings";
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "keyfile")
        << "[system/proxy]\nmode='manual'\n"
        << "ignore-hosts=['localhost', 'inside.example']\n"
        << "[system/proxy/http]\nhost='127.0.0.1'\nport=" << proxy.port() << '\n';
}

// A program of its own: which desktop it is counts at the first look-up alone.
TEST(DesktopProxy, TheProxyOfGnomesSettingsIsTakenWithItsExceptions) {
    const ProxyServer proxy;
    writeSettings(proxy);
    const EnvironmentVariable desktop("DESKTOP_SESSION", "gnome");
    const EnvironmentVariable backend("GSETTINGS_BACKEND", "keyfile");
    ScriptedHttpServer server;
    server.answerWith(ScriptedHttpServer::response("200 OK", "here"));
    QtHttpTransport transport;
    test::HttpCall far(transport, get(server.url("/", "elsewhere.example")));
    EXPECT_EQ(far.body(), "here");
    EXPECT_THAT(proxy.requests(), ElementsAre(StartsWith("GET http://elsewhere.example:")));
    const test::NamedHost host("inside.example", {"127.0.0.1"});
    test::HttpCall inside(transport, get(server.url("/", "inside.example")));
    EXPECT_EQ(inside.body(), "here");
    EXPECT_EQ(proxy.connectionCount(), 1);
}

} // namespace
} // namespace tandrel
