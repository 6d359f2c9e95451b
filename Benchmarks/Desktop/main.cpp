// Measures the tray program against the least possible one (Benchmarks/Peers/BareTray) on a desktop
// session of its own. Prints figures and judges nothing by its exit code.

#include "BuildPaths.h"
#include "Support/PrivateHome.h"
#include "TrayScenarios.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

namespace {

struct Options {
    int rounds = 20;
    int idleSeconds = 60;
    int openings = 50;
    int growthOpenings = 0;
};

bool parse(int argc, char** argv, Options& options) {
    for (int index = 1; index + 1 < argc; index += 2) {
        const std::string name = argv[index];
        const int number = std::atoi(argv[index + 1]);
        if (name == "--rounds") {
            options.rounds = number;
        } else if (name == "--idle-seconds") {
            options.idleSeconds = number;
        } else if (name == "--openings") {
            options.openings = number;
        } else if (name == "--growth-openings") {
            options.growthOpenings = number;
        } else {
            return false;
        }
    }
    return argc % 2 == 1;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parse(argc, argv, options)) {
        std::fprintf(stderr,
                     "usage: %s [--rounds N] [--idle-seconds S] [--openings N] "
                     "[--growth-openings N]\n",
                     argv[0]);
        return 2;
    }
    const tandrel::test::PrivateHome home;
    const QCoreApplication application(argc, argv);
    try {
        tandrel::test::PrivateDesktop desktop;
        const tandrel::test::StatusNotifierTray& tray = desktop.startStatusNotifierTray();
        const tandrel::bench::Candidate ours{"ours", {TANDREL_BUILD_BIN "/quorvane-tandrel"}, {}};
        const tandrel::bench::Candidate bare{
            "bare", {TANDREL_BUILD_BIN "/quorvane-tandrel-bare-tray"}, {}};
        tandrel::bench::TrayScenarios scenarios(desktop, tray, ours, bare);
        scenarios.measureStart(options.rounds);
        scenarios.measureOpening(options.openings);
        scenarios.measureMemory(options.rounds / 4 + 1);
        if (options.idleSeconds > 0) {
            scenarios.measureIdle(options.idleSeconds);
        }
        if (options.growthOpenings > 0) {
            scenarios.measureGrowth(options.growthOpenings);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "could not measure: %s\n", error.what());
        return 1;
    }
    return 0;
}
