#include "Support/PrivateKeyring.h"

#include "Support/PrivateBus.h"

#include <chrono>
#include <csignal>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace tandrel::test {

namespace {

constexpr const char* busName = "org.freedesktop.secrets";

} // namespace

PrivateKeyring::PrivateKeyring(const PrivateBus& bus, std::filesystem::path folder, Start start)
    : bus_(bus)
    , folder_(std::move(folder)) {
    std::filesystem::create_directories(folder_ / "control");
    std::ofstream(folder_ / "password") << password;
    restart(start);
}

PrivateKeyring::~PrivateKeyring() = default;

void PrivateKeyring::kill() {
    daemon_.reset();
    bus_.awaitRelease(busName);
}

void PrivateKeyring::freeze() {
    daemon_->signal(SIGSTOP);
}

void PrivateKeyring::restart(Start start) {
    kill();
    EnvironmentChanges environment = bus_.clientEnvironment();
    environment["HOME"] = folder_.string();
    environment["XDG_DATA_HOME"] = (folder_ / "data").string();
    environment["GNOME_KEYRING_CONTROL"] = "";
    const std::string daemon = "exec gnome-keyring-daemon --foreground --components=secrets "
                               "--control-directory=\"$0/control\"";
    daemon_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{
            "sh", "-c", start == Start::unlocked ? daemon + " --unlock <\"$0/password\"" : daemon,
            folder_.string()},
        environment, folder_ / "keyring.log");
    bus_.awaitOwner(busName);
}

ChildProcess::Output PrivateKeyring::run(const std::vector<std::string>& command) const {
    return ChildProcess::run(command, bus_.clientEnvironment());
}

std::optional<std::string> PrivateKeyring::lookup(const std::string& service,
                                                  const std::string& account) const {
    const auto output = run({"secret-tool", "lookup", "service", service, "account", account});
    return output.exitCode == 0 ? std::optional(output.text) : std::nullopt;
}

std::size_t PrivateKeyring::count(const std::string& service, const std::string& account) const {
    // It prints the attributes to its standard error, of no use to anybody here.
    const auto output =
        run({"sh", "-c", "exec secret-tool search --all service \"$0\" account \"$1\" 2>/dev/null",
             service, account});
    std::size_t items = 0;
    for (auto at = output.text.find("[/"); at != std::string::npos;
         at = output.text.find("[/", at + 1)) {
        ++items;
    }
    return items;
}

std::string PrivateKeyring::describe(const std::string& service) const {
    return run({"sh", "-c", "exec secret-tool search --all service \"$0\" 2>&1", service}).text;
}

void PrivateKeyring::store(const std::string& service, const std::string& account,
                           const std::string& value) const {
    const auto output =
        run({"sh", "-c",
             "printf %s \"$2\" | secret-tool store --label=foreign service \"$0\" account \"$1\"",
             service, account, value});
    if (output.exitCode != 0) {
        throw std::runtime_error("secret-tool store failed");
    }
}

} // namespace tandrel::test
