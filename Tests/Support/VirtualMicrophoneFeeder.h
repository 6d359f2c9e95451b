#pragma once

#include "Support/ChildProcess.h"
#include "Support/PrivateSoundServer.h"

#include <filesystem>
#include <memory>
#include <vector>

namespace tandrel::test {

/// Speaks into a virtual microphone: plays samples into it, once, bit for bit, at the server's
/// pace. Silence comes before and after.
class VirtualMicrophoneFeeder {
public:
    /// `samples` are interleaved, at the microphone's own rate and channels. Starts at once.
    VirtualMicrophoneFeeder(const PrivateSoundServer& server, const VirtualMicrophone& microphone,
                            const std::vector<float>& samples);
    /// The same with samples from a file of raw ones, which stays there as long as it is played.
    VirtualMicrophoneFeeder(const PrivateSoundServer& server, const VirtualMicrophone& microphone,
                            const std::filesystem::path& samples);

    /// Whether something is left to play.
    [[nodiscard]] bool isPlaying() { return player_->isRunning(); }

private:
    std::unique_ptr<ChildProcess> player_;
};

} // namespace tandrel::test
