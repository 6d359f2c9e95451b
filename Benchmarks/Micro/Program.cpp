#include "Micro/Program.h"

#include "Micro/Count.h"
#include "Platform/Qt/EventLoops.h"
#include "Support/PrivateHome.h"

#include <QApplication>

#include <benchmark/benchmark.h>

#include <string_view>
#include <utility>

namespace tandrel::bench {

namespace {

/// `timePerUnit` is the figure to compare; the columns before it are for whole runs.
void timeBody(benchmark::State& state, const Body& body) {
    const Body::Run run = body.prepare();
    for (auto _ : state) {
        run();
    }
    const auto units =
        static_cast<double>(state.iterations()) * static_cast<double>(body.unitsPerRun);
    state.counters["timePerUnit"] =
        benchmark::Counter(units, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.SetLabel("per " + body.unit);
}

} // namespace

int runBodies(int count, char** arguments, std::vector<Body> (*makeBodies)()) {
    const test::PrivateHome home;
    // No display, and the built-in style, wherever it runs.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QPA_PLATFORMTHEME", "");
    usePlainEventLoops(PlainLoops::everywhere);
    QApplication::setStyle(QStringLiteral("Fusion"));
    const QApplication application(count, arguments);

    if (count == 2 && std::string_view(arguments[1]) == "--count") {
        countBodies(makeBodies());
        return 0;
    }
    for (Body& body : makeBodies()) {
        const std::string name = body.name;
        benchmark::RegisterBenchmark(
            name.c_str(), [body = std::move(body)](auto& state) { timeBody(state, body); });
    }
    benchmark::Initialize(&count, arguments);
    if (benchmark::ReportUnrecognizedArguments(count, arguments)) {
        return 2;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

} // namespace tandrel::bench
