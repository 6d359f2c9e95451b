#include "Support/Desktop/AccessibilityBus.h"

#include "BuildPaths.h"

#include <string>

namespace tandrel::test {

namespace {

std::string registryProgram() {
    for (const char* path :
         {"/usr/libexec/at-spi2-registryd", "/usr/lib/at-spi2-core/at-spi2-registryd"}) {
        if (std::filesystem::exists(path)) {
            return path;
        }
    }
    return "at-spi2-registryd";
}

EnvironmentChanges registryEnvironment(const PrivateBus& session, const PrivateBus& bus) {
    EnvironmentChanges environment = session.clientEnvironment();
    environment["AT_SPI_BUS_ADDRESS"] = bus.address();
    return environment;
}

} // namespace

AccessibilityBus::AccessibilityBus(const PrivateBus& session, const std::filesystem::path& folder)
    : session_(session)
    , bus_(folder)
    , registry_({registryProgram()}, registryEnvironment(session, bus_),
                folder / "accessibility.log")
    , launcher_({TANDREL_BUILD_BIN "/accessibility-launcher", bus_.address()},
                session.clientEnvironment(), folder / "accessibility.log") {}

void AccessibilityBus::awaitReady() const {
    bus_.awaitOwner("org.a11y.atspi.Registry");
    session_.awaitOwner("org.a11y.Bus");
}

} // namespace tandrel::test
