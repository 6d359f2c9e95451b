// The streaming core as a program on PulseAudio and on PipeWire at once, in real time, with a
// disturbance every minute.
//
// What is promised, and looked at: every sample that the microphone gives while the stream is
// connected arrives, once and in order. What is captured while there is no connection is dropped,
// and what has been handed to a connection that breaks may be lost with it; so nothing may be
// missing but that, and as much of it as the connection was away. A microphone that is away, or
// suspended, gives nothing; before and after it, everything counts. A sound server or a program
// that is held up for a while loses nothing at all.
//
// At the same moment of each minute the program must have the same descriptors and the same
// threads, and its memory must not grow.

#include "EndToEnd/StreamLane.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace tandrel::test {
namespace {

using namespace std::chrono_literals;
using testing::IsEmpty;
using SteadyClock = std::chrono::steady_clock;

using Deed = std::function<void(StreamLane&)>;

struct Trouble {
    const char* name;
    bool costsSound;
    bool costsConnection;
    Deed begin;
    std::chrono::seconds duration{0};
    Deed end = [](StreamLane&) {};
};

const std::vector<Trouble>& troubles() {
    static const std::vector<Trouble> all{
        {"connection reset", false, true,
         [](StreamLane& lane) { lane.act(R"({"action": "reset"})"); }},
        {"sound server killed", true, false, [](StreamLane& lane) { lane.sound().kill(); }, 3s,
         [](StreamLane& lane) { lane.restartSound(); }},
        {"closed with 1011", false, true,
         [](StreamLane& lane) { lane.act(R"({"action": "close", "code": 1011})"); }},
        {"microphone unplugged", true, false,
         [](StreamLane& lane) { lane.sound().unplug(lane.microphone()); }, 4s,
         [](StreamLane& lane) { lane.sound().plugIn(lane.microphone(), 16000); }},
        {"backend gone", false, true, [](StreamLane& lane) { lane.door().shut(); }, 5s,
         [](StreamLane& lane) { lane.door().open(); }},
        {"program held up", false, false,
         [](StreamLane& lane) { lane.program().process().signal(SIGSTOP); }, 2s,
         [](StreamLane& lane) { lane.program().process().signal(SIGCONT); }},
        {"backend reads nothing", false, true, [](StreamLane& lane) { lane.door().hold(); }, 15s,
         [](StreamLane& lane) { lane.door().letGo(); }},
        {"microphone suspended", true, false,
         [](StreamLane& lane) {
             lane.sound().control({"suspend-source", "counted", "1"});
         },
         4s,
         [](StreamLane& lane) {
             lane.sound().control({"suspend-source", "counted", "0"});
         }},
        {"upgrade refused with 503", false, true,
         [](StreamLane& lane) {
             lane.backend().send("PUT", "/dev/faults/stream", R"({"status": 503, "times": 2})");
             lane.act(R"({"action": "reset"})");
         }},
        {"sound server frozen", false, false, [](StreamLane& lane) { lane.sound().freeze(); }, 3s,
         [](StreamLane& lane) { lane.sound().thaw(); }},
        {"upgrade never answered", false, true,
         [](StreamLane& lane) {
             lane.backend().send("PUT", "/dev/faults/stream",
                                 R"({"answer": "silence", "times": 1})");
             lane.act(R"({"action": "reset"})");
         }},
        {"nothing", false, false, [](StreamLane&) {}},
    };
    return all;
}

/// TANDREL_SOAK_MINUTES says how long; once through all troubles unless it does.
int minutes() {
    const char* const value = std::getenv("TANDREL_SOAK_MINUTES");
    return value == nullptr ? static_cast<int>(troubles().size()) : std::atoi(value);
}

/// What a start leaves to be done later is done by then, and caches are full.
constexpr std::size_t settledMinutes = 5;

/// What a program was like at the same moment of each minute.
class Observation {
public:
    void look(pid_t process) {
        memory_.push_back(ProcessMemory::of(process));
        footprints_.push_back(ProcessFootprint::of(process));
    }
    [[nodiscard]] const ProcessMemory& memory() const { return memory_.back(); }
    [[nodiscard]] const ProcessFootprint& footprint() const { return footprints_.back(); }

    /// How the last look differs from the first one that counts.
    [[nodiscard]] std::string difference() const {
        return footprints_.size() <= settledMinutes
                   ? std::string()
                   : footprints_.back().differenceFrom(footprints_[settledMinutes]);
    }
    /// In bytes an hour.
    [[nodiscard]] double growth(std::size_t ProcessMemory::*part) const {
        std::vector<double> hours;
        std::vector<double> values;
        for (std::size_t minute = settledMinutes; minute < memory_.size(); ++minute) {
            hours.push_back(static_cast<double>(minute) / 60);
            values.push_back(static_cast<double>(memory_[minute].*part));
        }
        return growthPerHour(hours, values);
    }

private:
    std::vector<ProcessMemory> memory_;
    std::vector<ProcessFootprint> footprints_;
};

using Lanes = std::array<std::unique_ptr<StreamLane>, 2>;

void disturb(Lanes& lanes, const Trouble& trouble) {
    for (const auto& lane : lanes) {
        lane->begin({trouble.name, trouble.costsSound, trouble.costsConnection});
        trouble.begin(*lane);
    }
    std::this_thread::sleep_for(trouble.duration);
    for (const auto& lane : lanes) {
        trouble.end(*lane);
    }
    for (const auto& lane : lanes) {
        const auto time = lane->awaitRecovery();
        EXPECT_TRUE(time.has_value()) << lane->name() << " does not recover: " << trouble.name;
        std::printf("  %s: sound again after %.1f s\n", lane->name().c_str(),
                    std::chrono::duration<double>(time.value_or(0ms)).count());
    }
}

void report(const LongStreamVerdict& stream, const LogVerdict& log) {
    std::printf(
        "  %zu messages handed over, %zu arrived, by %zu connections; %llu frames in order, "
        "%llu gaps, %llu of them the server's, %llu frames of silence\n  log: %zu lines, %zu "
        "bytes; throttled %zu, send "
        "errors %zu, events %zu\n",
        stream.messagesSent, stream.messagesArrived, stream.connections,
        static_cast<unsigned long long>(stream.frames),
        static_cast<unsigned long long>(stream.gaps),
        static_cast<unsigned long long>(stream.serversGaps),
        static_cast<unsigned long long>(stream.silence), log.lines, log.bytes, log.throttledLines,
        log.sendErrors, log.eventLines);
}

TEST(LongStream, LosesNothingThatItPromisesAndGrowsByNothing) {
    constexpr double kibibyte = 1024;
    const int count = minutes();
    Lanes lanes;
    std::array<Observation, 2> observations;
    std::size_t index = 0;
    for (const auto kind :
         {PrivateSoundServer::Kind::pulseAudio, PrivateSoundServer::Kind::pipeWire}) {
        auto& lane = lanes.at(index++);
        lane = std::make_unique<StreamLane>(kind, std::chrono::minutes(count + 3));
        ASSERT_TRUE(lane->start()) << lane->program().output();
    }
    const auto start = SteadyClock::now();
    for (int minute = 0; minute < count; ++minute) {
        const Trouble& trouble = troubles()[static_cast<std::size_t>(minute) % troubles().size()];
        std::this_thread::sleep_until(start + std::chrono::minutes(minute));
        std::printf("minute %d: %s\n", minute, trouble.name);
        disturb(lanes, trouble);
        std::this_thread::sleep_until(start + std::chrono::minutes(minute) + 50s);
        for (std::size_t each = 0; each < lanes.size(); ++each) {
            Observation& observation = observations.at(each);
            observation.look(lanes.at(each)->program().process().pid());
            EXPECT_THAT(observation.difference(), IsEmpty()) << lanes.at(each)->name();
            std::printf("  %s: resident %.0f kB, anonymous %.0f kB, proportional %.0f kB, %zu "
                        "descriptors, %zu threads\n",
                        lanes.at(each)->name().c_str(),
                        static_cast<double>(observation.memory().resident) / kibibyte,
                        static_cast<double>(observation.memory().anonymous) / kibibyte,
                        static_cast<double>(observation.memory().proportional) / kibibyte,
                        observation.footprint().descriptors.size(),
                        observation.footprint().threads.size());
        }
        std::fflush(stdout);
    }
    for (std::size_t each = 0; each < lanes.size(); ++each) {
        StreamLane& lane = *lanes.at(each);
        SCOPED_TRACE(lane.name());
        EXPECT_TRUE(lane.end()) << lane.program().output();
        const LongStreamVerdict stream = lane.verdict();
        const LogVerdict log = lane.logVerdict();
        std::printf("%s\n", lane.name().c_str());
        report(stream, log);
        EXPECT_THAT(stream.faults, IsEmpty());
        EXPECT_GT(stream.frames, 0U);
        EXPECT_THAT(log.faults, IsEmpty());
        EXPECT_LE(log.sendErrors, stream.messagesSent - stream.messagesArrived);
        // Two starts, and what each trouble has said of it, retries included.
        EXPECT_LE(log.eventLines, 60U + 40U * static_cast<std::size_t>(count));
        const Observation& observation = observations.at(each);
        const double growth = observation.growth(&ProcessMemory::resident) / kibibyte;
        std::printf("  growth an hour: resident %.0f kB, anonymous %.0f kB, proportional %.0f kB\n",
                    growth, observation.growth(&ProcessMemory::anonymous) / kibibyte,
                    observation.growth(&ProcessMemory::proportional) / kibibyte);
        // A few minutes say nothing about an hour.
        if (count >= 30) {
            EXPECT_LT(growth, 100.0);
        }
    }
}

TEST(LongStream, ABackendThatReadsNothingForAMinuteGetsTheStreamBack) {
    StreamLane lane(PrivateSoundServer::Kind::pulseAudio, 3min);
    ASSERT_TRUE(lane.start()) << lane.program().output();
    const pid_t process = lane.program().process().pid();
    const std::size_t before = ProcessMemory::of(process).anonymous;
    std::size_t most = before;
    lane.begin({"backend reads nothing for a minute", false, true});
    lane.door().hold();
    for (int second = 0; second < 60; ++second) {
        std::this_thread::sleep_for(1s);
        most = std::max(most, ProcessMemory::of(process).anonymous);
    }
    lane.door().letGo();
    const auto time = lane.awaitRecovery();
    ASSERT_TRUE(time.has_value()) << lane.program().output();
    std::printf("sound again after %.1f s; at most %zu kB more than before\n",
                std::chrono::duration<double>(*time).count(), (most - before) / 1024);
    EXPECT_LT(most, before + std::size_t{2} * 1024 * 1024);
    EXPECT_TRUE(lane.end());
    const LongStreamVerdict stream = lane.verdict();
    report(stream, lane.logVerdict());
    EXPECT_THAT(stream.faults, IsEmpty());
    EXPECT_GE(stream.connections, 2U);
}

} // namespace
} // namespace tandrel::test
