#pragma once

#include "EndToEnd/HeadlessProcess.h"
#include "EndToEnd/LongStreamJudge.h"
#include "Support/ChildProcess.h"
#include "Support/DevBackend.h"
#include "Support/FrontDoor.h"
#include "Support/LogJudge.h"
#include "Support/PrivateBus.h"
#include "Support/PrivateKeyring.h"
#include "Support/PrivateSoundServer.h"
#include "Support/ProcessFootprint.h"
#include "Support/VirtualMicrophoneFeeder.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tandrel::test {

/// A long stream with all that it runs through, to be disturbed: a sound server whose microphone
/// hears a counted sound, the streaming core as a program, a door, a backend.
class StreamLane {
public:
    /// The sound lasts for `length`. Throws std::runtime_error when one of the parts does not
    /// start.
    StreamLane(PrivateSoundServer::Kind kind, std::chrono::seconds length);
    ~StreamLane();
    StreamLane(const StreamLane&) = delete;
    StreamLane& operator=(const StreamLane&) = delete;

    /// Signs in, ends, and starts again as somebody who is signed in, whose sign-in the backend has
    /// an error 500 for at first; waits until sound arrives. Whether it did.
    [[nodiscard]] bool start();

    [[nodiscard]] const std::string& name() const { return name_; }
    [[nodiscard]] HeadlessProcess& program() { return *program_; }
    [[nodiscard]] PrivateSoundServer& sound() { return sound_; }
    [[nodiscard]] FrontDoor& door() { return door_; }
    [[nodiscard]] DevBackend& backend() { return backend_; }
    [[nodiscard]] VirtualMicrophone& microphone() { return microphone_; }

    /// Does something to the stream at the backend.
    void act(const std::string& json);
    /// Starts the sound server that was killed, with the same microphone and new sound.
    void restartSound();

    /// What happens from now on; ended by `awaitRecovery`.
    void begin(Disturbance disturbance);
    /// Waits until new sound has arrived, which it has not while the stream is disturbed; how long
    /// since the beginning, or nothing when none came.
    [[nodiscard]] std::optional<std::chrono::milliseconds> awaitRecovery();

    /// Ends the program in order; whether it ended well, and the backend saw it.
    [[nodiscard]] bool end();
    /// What became of the stream; once it has ended.
    [[nodiscard]] LongStreamVerdict verdict() const;
    [[nodiscard]] LogVerdict logVerdict() const { return judgeLog(program_->debugLog()); }

private:
    HeadlessProcess::Start startOfProgram(const std::vector<std::string>& arguments) const;
    void addMicrophone();
    /// Has another program record the same microphone from now on.
    void callWitness();
    [[nodiscard]] std::vector<Gap> witnessedGaps() const;

    std::string name_;
    std::filesystem::path folder_;
    std::chrono::steady_clock::time_point soundEnd_;
    PrivateBus bus_;
    PrivateKeyring keyring_;
    PrivateSoundServer sound_;
    DevBackend backend_;
    FrontDoor door_;
    VirtualMicrophone microphone_;
    std::unique_ptr<VirtualMicrophoneFeeder> feeder_;
    std::unique_ptr<ChildProcess> witness_;
    std::vector<std::filesystem::path> testimonies_;
    std::unique_ptr<HeadlessProcess> program_;
    std::string session_;
    std::uint64_t lap_ = 0;
    std::int64_t messagesBefore_ = 0;
    std::vector<Disturbance> disturbances_;
};

} // namespace tandrel::test
