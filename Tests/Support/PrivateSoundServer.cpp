#include "Support/PrivateSoundServer.h"

#include "Support/WaitUntil.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace tandrel::test {

namespace {

constexpr const char* busConfiguration = R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=@FOLDER@/bus</listen>
  <policy context="default">
    <allow send_destination="*"/>
    <allow receive_sender="*"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

// Enough for virtual devices: no sound card, no portal, no bell. Real-time scheduling where the
// system grants it: without it a busy machine makes the server itself lose sound.
constexpr const char* pipeWireConfiguration = R"(
context.properties = {
    core.daemon = true
    core.name = pipewire-0
    default.clock.rate = @RATE@
    default.clock.allowed-rates = [ @RATE@ ]
    default.clock.quantum = @QUANTUM@
    default.clock.min-quantum = @QUANTUM@
    vm.overrides = { default.clock.min-quantum = @QUANTUM@ }
}
context.spa-libs = {
    audio.convert.* = audioconvert/libspa-audioconvert
    support.* = support/libspa-support
}
context.modules = [
    { name = libpipewire-module-rt args = { nice.level = -11 } flags = [ ifexists nofail ] }
    { name = libpipewire-module-protocol-native }
    { name = libpipewire-module-metadata }
    { name = libpipewire-module-spa-device-factory }
    { name = libpipewire-module-spa-node-factory }
    { name = libpipewire-module-client-node }
    { name = libpipewire-module-client-device }
    { name = libpipewire-module-access }
    { name = libpipewire-module-adapter }
    { name = libpipewire-module-link-factory }
    { name = libpipewire-module-session-manager }
]
context.objects = [
    { factory = spa-node-factory
        args = {
            factory.name = support.node.driver
            node.name = Dummy-Driver
            node.group = pipewire.dummy
            priority.driver = 20000
        }
    }
]
)";

constexpr const char* pipeWirePulseConfiguration = R"(
context.spa-libs = {
    audio.convert.* = audioconvert/libspa-audioconvert
    support.* = support/libspa-support
}
context.modules = [
    { name = libpipewire-module-rt args = { nice.level = -11 } flags = [ ifexists nofail ] }
    { name = libpipewire-module-protocol-native }
    { name = libpipewire-module-client-node }
    { name = libpipewire-module-adapter }
    { name = libpipewire-module-metadata }
    { name = libpipewire-module-protocol-pulse }
]
pulse.cmd = [
    { cmd = "load-module" args = "module-always-sink" flags = [ ] }
]
pulse.properties = {
    server.address = [ "unix:native" ]
    pulse.min.quantum = @QUANTUM@/@RATE@
    vm.overrides = { pulse.min.quantum = @QUANTUM@/@RATE@ }
}
)";

constexpr const char* noHardwareMonitors = R"(alsa_monitor.enabled = false
v4l2_monitor.enabled = false
libcamera_monitor.enabled = false
)";

constexpr const char* noBluetoothMonitor = "bluez_monitor.enabled = false\n";

constexpr const char* pulseAudioScript = R"(
load-module module-device-restore
load-module module-stream-restore restore_device=no
load-module module-native-protocol-unix socket=@FOLDER@/run/pulse/native auth-anonymous=1
load-module module-always-sink
load-module module-suspend-on-idle
)";

void replaceAll(std::string& text, const std::string& placeholder, const std::string& value) {
    for (auto at = text.find(placeholder); at != std::string::npos; at = text.find(placeholder)) {
        text.replace(at, placeholder.size(), value);
    }
}

/// The microphone's format at a rate, as modules take it.
std::vector<std::string> formatArguments(const VirtualMicrophone& microphone, std::uint32_t rate) {
    return {"rate=" + std::to_string(rate), "channels=" + std::to_string(microphone.channels),
            "channel_map=" + microphone.channelMap()};
}

constexpr std::chrono::seconds startLimit(10);

} // namespace

PrivateSoundServer::PrivateSoundServer(Kind kind, Graph graph)
    : kind_(kind)
    , graph_(graph) {
    // Short: the path of a socket is limited to 107 bytes.
    std::string pattern = "/tmp/qsXXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    folder_ = pattern;
    start();
}

PrivateSoundServer::~PrivateSoundServer() {
    kill();
    if (isDefault_) {
        unsetenv("PULSE_SERVER");
    }
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

std::string PrivateSoundServer::address() const {
    return "unix:" + (folder_ / "run/pulse/native").string();
}

EnvironmentChanges PrivateSoundServer::clientEnvironment() const {
    EnvironmentChanges environment = serverEnvironment();
    environment["PULSE_SERVER"] = address();
    return environment;
}

EnvironmentChanges PrivateSoundServer::serverEnvironment() const {
    const auto path = [this](const char* name) { return (folder_ / name).string(); };
    return {
        {"HOME", path("home")},
        {"XDG_RUNTIME_DIR", path("run")},
        {"XDG_CONFIG_HOME", path("config")},
        {"XDG_STATE_HOME", path("state")},
        {"XDG_CACHE_HOME", path("cache")},
        {"XDG_DATA_HOME", path("data")},
        {"PULSE_RUNTIME_PATH", path("run/pulse")},
        {"PULSE_STATE_PATH", path("state/pulse")},
        {"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + path("bus")},
        // Nothing of the user's.
        {"PULSE_SERVER", ""},
        {"PIPEWIRE_REMOTE", ""},
        {"PIPEWIRE_CONFIG_DIR", ""},
        {"DISPLAY", ""},
        {"WAYLAND_DISPLAY", ""},
    };
}

void PrivateSoundServer::makeDefault() {
    setenv("PULSE_SERVER", address().c_str(), 1);
    isDefault_ = true;
}

void PrivateSoundServer::start() {
    for (const char* name : {"home", "run", "run/pulse", "config", "state", "state/pulse"}) {
        const std::filesystem::path path = folder_ / name;
        std::filesystem::create_directories(path);
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    }
    if (kind_ == Kind::pulseAudio) {
        startPulseAudio();
    } else {
        startPipeWire();
    }
    waitUntilReady();
}

void PrivateSoundServer::startPulseAudio() {
    writeFile("script.pa", pulseAudioScript);
    run({"pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1", "--disallow-exit",
         "--use-pid-file=no", "-F", (folder_ / "script.pa").string()});
}

void PrivateSoundServer::startPipeWire() {
    writeFile("bus.conf", busConfiguration);
    writeFile("config/pipewire/pipewire.conf", pipeWireConfiguration);
    writeFile("config/pipewire/pipewire-pulse.conf", pipeWirePulseConfiguration);
    writeFile("config/wireplumber/main.lua.d/80-no-hardware.lua", noHardwareMonitors);
    writeFile("config/wireplumber/bluetooth.lua.d/80-no-hardware.lua", noBluetoothMonitor);

    run({"dbus-daemon", "--nofork", "--config-file=" + (folder_ / "bus.conf").string()});
    run({"pipewire"});
    const bool listening = waitUntil(
        [this] {
            return std::filesystem::exists(folder_ / "bus") &&
                   std::filesystem::exists(folder_ / "run/pipewire-0");
        },
        startLimit);
    if (!listening) {
        throw std::runtime_error("the sound server did not start: " + log());
    }
    run({"wireplumber"});
    run({"pipewire-pulse"});
}

void PrivateSoundServer::writeFile(const std::string& name, std::string text) const {
    replaceAll(text, "@FOLDER@", folder_.string());
    replaceAll(text, "@RATE@", std::to_string(graph_.rate));
    replaceAll(text, "@QUANTUM@", std::to_string(graph_.quantum));
    std::filesystem::create_directories((folder_ / name).parent_path());
    std::ofstream(folder_ / name) << text;
}

void PrivateSoundServer::run(const std::vector<std::string>& command) {
    processes_.push_back(
        std::make_unique<ChildProcess>(command, serverEnvironment(), folder_ / "server.log"));
}

void PrivateSoundServer::waitUntilReady() {
    const bool ready = waitUntil(
        [this] {
            // An output to fall back on comes last; on PipeWire, once the session manager runs.
            return std::filesystem::exists(folder_ / "run/pulse/native") &&
                   ChildProcess::run({"pactl", "list", "short", "sinks"}, clientEnvironment())
                           .text.find("auto_null") != std::string::npos;
        },
        startLimit);
    if (!ready) {
        throw std::runtime_error("the sound server did not start: " + log());
    }
}

std::string PrivateSoundServer::control(const std::vector<std::string>& command) const {
    std::vector<std::string> arguments{"pactl"};
    arguments.insert(arguments.end(), command.begin(), command.end());
    const auto output = ChildProcess::run(arguments, clientEnvironment());
    if (output.exitCode != 0) {
        throw std::runtime_error("the sound server refused: " + command.front() + "\n" + log());
    }
    return output.text;
}

std::uint32_t PrivateSoundServer::loadModule(const std::string& name,
                                             const std::vector<std::string>& arguments) {
    std::vector<std::string> command{"load-module", name};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return static_cast<std::uint32_t>(std::stoul(control(command)));
}

void PrivateSoundServer::unloadModule(std::uint32_t index) {
    control({"unload-module", std::to_string(index)});
}

std::vector<std::string> PrivateSoundServer::recordingIndexes() const {
    std::vector<std::string> indexes;
    std::istringstream lines(control({"list", "short", "source-outputs"}));
    for (std::string line; std::getline(lines, line);) {
        // A virtual microphone is a recording too, of the output behind it, but no program's.
        std::istringstream fields(line);
        std::string index;
        std::string source;
        std::string client;
        fields >> index >> source >> client;
        if (client != "-") {
            indexes.push_back(index);
        }
    }
    return indexes;
}

std::string VirtualMicrophone::channelMap() const {
    if (channels == 1) {
        return "mono";
    }
    if (channels == 2) {
        return "front-left,front-right";
    }
    // Channels of no place in a room, which nobody mixes with each other.
    std::string map = "aux0";
    for (std::uint32_t channel = 1; channel < channels; ++channel) {
        map += ",aux" + std::to_string(channel);
    }
    return map;
}

VirtualMicrophone PrivateSoundServer::addMicrophone(const std::string& name,
                                                    const std::string& description,
                                                    std::uint32_t rate, std::uint32_t channels) {
    VirtualMicrophone microphone{name + "_feed", name, description, rate, channels};
    const std::vector<std::string> format = formatArguments(microphone, rate);
    std::vector<std::string> sink{"sink_name=" + microphone.sinkName};
    if (kind_ == Kind::pulseAudio) {
        // Or it would round to 16 bit, and play again what it has already played.
        sink.insert(sink.end(), {"format=float32le", "norewinds=1"});
    }
    sink.insert(sink.end(), format.begin(), format.end());
    microphone.sinkModule = loadModule("module-null-sink", sink);
    microphone.sourceModule = loadSource(microphone, rate);
    return microphone;
}

std::uint32_t PrivateSoundServer::loadSource(const VirtualMicrophone& microphone,
                                             std::uint32_t rate) {
    std::vector<std::string> arguments{
        "source_name=" + microphone.sourceName, "master=" + microphone.sinkName + ".monitor",
        "source_properties=\"device.description='" + microphone.description + "'\""};
    const std::vector<std::string> format = formatArguments(microphone, rate);
    arguments.insert(arguments.end(), format.begin(), format.end());
    return loadModule("module-remap-source", arguments);
}

void PrivateSoundServer::unplug(const VirtualMicrophone& microphone) {
    unloadModule(microphone.sourceModule);
}

void PrivateSoundServer::plugIn(VirtualMicrophone& microphone, std::uint32_t rate) {
    microphone.sourceModule = loadSource(microphone, rate);
}

void PrivateSoundServer::kill() {
    // The last one started is the one that clients talk to.
    while (!processes_.empty()) {
        processes_.pop_back();
    }
}

void PrivateSoundServer::restart() {
    kill();
    for (const char* name : {"bus", "run/pipewire-0", "run/pipewire-0.lock", "run/pulse/native"}) {
        std::filesystem::remove(folder_ / name);
    }
    start();
}

void PrivateSoundServer::freeze() {
    // The one that clients talk to first.
    std::for_each(processes_.rbegin(), processes_.rend(),
                  [](const auto& process) { process->signal(SIGSTOP); });
}

void PrivateSoundServer::thaw() {
    for (const auto& process : processes_) {
        process->signal(SIGCONT);
    }
}

std::string PrivateSoundServer::log() const {
    std::ifstream file(folder_ / "server.log");
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

} // namespace tandrel::test
