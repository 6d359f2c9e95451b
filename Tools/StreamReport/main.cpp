// Compares what a client handed to its socket with what a server received; without the client's
// record, says what the server's tells by itself.
//
//   quorvane-tandrel-stream-report [--sent FILE] --arrived FILE
//       [--reference-start NS --offset-frames N --loop-frames N]
//
// Exit codes: 0 nothing lost or reordered; 1 something was; 2 usage or unreadable input.

#include "Report.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <string>
#include <vector>

namespace {

constexpr double framesPerSecond = 16'000;

void printDelays(const char* what, const std::vector<double>& delays) {
    if (delays.empty()) {
        return;
    }
    const Distribution ms = distribution(delays);
    std::printf("%-34s median %.1f ms, p95 %.1f ms, maximum %.1f ms\n", what, ms.median, ms.p95,
                ms.maximum);
}

/// Prints what the comparison says; whether all that was sent arrived, once and in order.
bool isComplete(const std::vector<MessageRecord>& sent, const std::vector<MessageRecord>& arrived) {
    const Comparison difference = compare(sent, arrived);
    std::printf("%-34s %zu lost, %zu reordered, %zu unexpected\n", "messages against those sent",
                difference.lost, difference.reordered, difference.unexpected);
    const bool complete =
        difference.lost == 0 && difference.reordered == 0 && difference.unexpected == 0;
    if (complete) {
        printDelays("delay, hand-over to server", transportDelays(sent, arrived));
    }
    return complete;
}

int report(const std::map<std::string, std::string>& options) {
    const auto arrived = readMessages(options.at("--arrived"));
    if (arrived.empty()) {
        std::printf("no message arrived\n");
        return 1;
    }
    std::vector<double> frames;
    double total = 0;
    for (const MessageRecord& message : arrived) {
        frames.push_back(static_cast<double>(message.bytes) / 2);
        total += frames.back();
    }
    const auto [shortest, longest] = std::minmax_element(frames.begin(), frames.end());
    std::printf("%-34s %.2f\n", "seconds of audio", total / framesPerSecond);
    std::printf("%-34s %zu\n", "messages", arrived.size());
    std::printf("%-34s %.1f (%.0f to %.0f)\n", "frames per message",
                total / static_cast<double>(arrived.size()), *shortest, *longest);
    const bool complete =
        !options.contains("--sent") || isComplete(readMessages(options.at("--sent")), arrived);
    if (options.contains("--reference-start")) {
        printDelays("delay, microphone to server",
                    microphoneDelays(arrived, std::stoll(options.at("--reference-start")),
                                     std::stod(options.at("--offset-frames")),
                                     std::stod(options.at("--loop-frames"))));
    }
    return complete ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    std::map<std::string, std::string> options;
    for (int index = 1; index + 1 < argc; index += 2) {
        options[argv[index]] = argv[index + 1];
    }
    if (!options.contains("--arrived")) {
        std::fprintf(stderr,
                     "usage: %s [--sent FILE] --arrived FILE\n"
                     "       [--reference-start NS --offset-frames N --loop-frames N]\n",
                     argv[0]);
        return 2;
    }
    try {
        return report(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "stream report: %s\n", error.what());
        return 2;
    }
}
