// Measures the tray program against the least possible one (Benchmarks/Peers/BareTray) on a desktop
// session of its own: what has to be timed by somebody who listens to panel and screen, and how
// memory grows. Prints figures and judges nothing by its exit code.

#include "BuildPaths.h"
#include "StreamScenarios.h"
#include "Support/PrivateHome.h"
#include "TrayScenarios.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <string>
#include <vector>

namespace {

struct Options {
    int starts = 0;
    int openings = 0;
    int growthOpenings = 0;
    int growthStreams = 0;
};

bool parse(int argc, char** argv, Options& options) {
    const std::map<std::string, int*> numbers{
        {"--starts", &options.starts},
        {"--openings", &options.openings},
        {"--growth-openings", &options.growthOpenings},
        {"--growth-streams", &options.growthStreams},
    };
    for (int index = 1; index + 1 < argc; index += 2) {
        const std::string name = argv[index];
        const int number = std::atoi(argv[index + 1]);
        const auto found = numbers.find(name);
        if (found == numbers.end()) {
            return false;
        }
        *found->second = number;
    }
    return argc % 2 == 1;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parse(argc, argv, options)) {
        std::fprintf(stderr,
                     "usage: %s [--starts N] [--openings N] [--growth-openings N]\n"
                     "    [--growth-streams N]; what is not counted is not measured\n",
                     argv[0]);
        return 2;
    }
    const tandrel::test::PrivateHome home;
    const QCoreApplication application(argc, argv);
    try {
        using Accessibility = tandrel::test::PrivateDesktop::Accessibility;
        tandrel::test::PrivateDesktop desktop(Accessibility::off);
        const tandrel::test::StatusNotifierTray& tray = desktop.startStatusNotifierTray();
        const tandrel::bench::Candidate ours{"ours", {TANDREL_BUILD_BIN "/quorvane-tandrel"}, {}};
        const tandrel::bench::Candidate bare{
            "bare", {TANDREL_BUILD_BIN "/quorvane-tandrel-bare-tray"}, {}};
        tandrel::bench::TrayScenarios scenarios(desktop, tray, ours, bare);
        scenarios.measureStart(options.starts);
        if (options.openings > 0) {
            scenarios.measureOpening(options.openings);
        }
        if (options.growthOpenings > 0) {
            scenarios.measureGrowth(options.growthOpenings);
        }
        if (options.growthStreams > 0) {
            tandrel::bench::StreamScenarios(desktop, tray).measureGrowth(options.growthStreams);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "could not measure: %s\n", error.what());
        return 1;
    }
    return 0;
}
