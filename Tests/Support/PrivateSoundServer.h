#pragma once

#include "Support/ChildProcess.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace tandrel::test {

/// A microphone made of two modules: an output that goes nowhere, whose sound comes back as a
/// source with a name of its own. What is played into `sinkName` is what the microphone hears, bit
/// for bit, at the pace of the server's clock.
struct VirtualMicrophone {
    std::string sinkName;
    std::string sourceName;
    std::string description;
    std::uint32_t rate = 48000;
    std::uint32_t channels = 1;
    std::uint32_t sinkModule = 0;
    std::uint32_t sourceModule = 0;

    /// Which channel is which, in the server's words.
    [[nodiscard]] std::string channelMap() const;
};

/// A sound server of the test's own: its files, bus and socket lie in a private folder, so that it
/// shares nothing with the user's. Runs until destroyed; dies with the test program.
class PrivateSoundServer {
public:
    enum class Kind { pulseAudio, pipeWire };

    /// What PipeWire's graph runs at; PulseAudio runs each device by itself.
    struct Graph {
        /// All of PipeWire's virtual microphones have this rate.
        std::uint32_t rate = 48000;
        /// Frames of a cycle, a power of two. Long enough that a busy test machine, which cannot
        /// always run each part of the server in time, does not make it lose sound; measurements
        /// of delay want the 256 of a real desktop.
        std::uint32_t quantum = 1024;
    };

    /// Starts the server and waits until it answers; throws std::runtime_error with the server's
    /// own words when it does not within 10 s.
    explicit PrivateSoundServer(Kind kind)
        : PrivateSoundServer(kind, Graph()) {}
    PrivateSoundServer(Kind kind, Graph graph);
    ~PrivateSoundServer();
    PrivateSoundServer(const PrivateSoundServer&) = delete;
    PrivateSoundServer& operator=(const PrivateSoundServer&) = delete;

    [[nodiscard]] Kind kind() const { return kind_; }
    /// For PULSE_SERVER.
    [[nodiscard]] std::string address() const;
    [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }
    /// The variables that lead a program to this server.
    [[nodiscard]] EnvironmentChanges clientEnvironment() const;
    /// Makes it this process's sound server; the destructor takes that back.
    void makeDefault();

    /// Loads a module and returns its index; throws std::runtime_error when the server refuses.
    std::uint32_t loadModule(const std::string& name, const std::vector<std::string>& arguments);
    void unloadModule(std::uint32_t index);
    /// Runs a control command ("set-source-mute …") and returns its output; throws on failure.
    std::string control(const std::vector<std::string>& command) const;

    /// The recordings that run, as `control()` takes them.
    [[nodiscard]] std::vector<std::string> recordingIndexes() const;

    /// `name` is an identifier; the microphone's source is called `name`.
    VirtualMicrophone addMicrophone(const std::string& name, const std::string& description,
                                    std::uint32_t rate, std::uint32_t channels);
    /// Unplugs the microphone: its source goes, the output behind it stays.
    void unplug(const VirtualMicrophone& microphone);
    /// Plugs an unplugged one in again; it now runs at `rate`.
    void plugIn(VirtualMicrophone& microphone, std::uint32_t rate);

    /// Ends the server without warning.
    void kill();
    /// Starts it anew, after `kill()`: empty, at the same address.
    void restart();
    /// The server stops answering, with all its connections open.
    void freeze();
    void thaw();
    /// Everything that the server wrote to its logs.
    [[nodiscard]] std::string log() const;

private:
    /// Returns the module of the microphone's source.
    std::uint32_t loadSource(const VirtualMicrophone& microphone, std::uint32_t rate);
    void start();
    void startPulseAudio();
    void startPipeWire();
    /// Writes a configuration file, its placeholders filled in.
    void writeFile(const std::string& name, std::string text) const;
    void run(const std::vector<std::string>& command);
    void waitUntilReady();
    [[nodiscard]] EnvironmentChanges serverEnvironment() const;

    Kind kind_;
    Graph graph_;
    std::filesystem::path folder_;
    // In the order of their start.
    std::vector<std::unique_ptr<ChildProcess>> processes_;
    bool isDefault_ = false;
};

} // namespace tandrel::test
