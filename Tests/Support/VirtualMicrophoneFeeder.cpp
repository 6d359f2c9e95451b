#include "Support/VirtualMicrophoneFeeder.h"

#include <fstream>
#include <stdexcept>
#include <string>

namespace tandrel::test {

namespace {

std::filesystem::path fileOf(const PrivateSoundServer& server, const VirtualMicrophone& microphone,
                             const std::vector<float>& samples) {
    std::filesystem::path path = server.folder() / (microphone.sinkName + ".raw");
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(samples.data()),
               static_cast<std::streamsize>(samples.size() * sizeof(float)));
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + path.string());
    }
    return path;
}

} // namespace

VirtualMicrophoneFeeder::VirtualMicrophoneFeeder(const PrivateSoundServer& server,
                                                 const VirtualMicrophone& microphone,
                                                 const std::vector<float>& samples)
    : VirtualMicrophoneFeeder(server, microphone, fileOf(server, microphone, samples)) {}

VirtualMicrophoneFeeder::VirtualMicrophoneFeeder(const PrivateSoundServer& server,
                                                 const VirtualMicrophone& microphone,
                                                 const std::filesystem::path& samples) {
    player_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{"pacat", "--playback", "--raw", "--device=" + microphone.sinkName,
                                 "--format=float32le", "--rate=" + std::to_string(microphone.rate),
                                 "--channels=" + std::to_string(microphone.channels),
                                 "--volume=65536", "--channel-map=" + microphone.channelMap(),
                                 samples.string()},
        server.clientEnvironment(), server.folder() / "feeder.log");
}

} // namespace tandrel::test
