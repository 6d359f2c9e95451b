// The bus's calls `Open`, through to the delegate: texts that end in NUL; an empty one ends a call.
#include "AppDelegate.h"
#include "AppState.h"
#include "Foundation/Console.h"
#include "Harness/Check.h"
#include "Harness/Environment.h"
#include "Harness/Input.h"
#include "Harness/References.h"
#include "Platform/Desktop/ApplicationInterface.h"
#include "Support/ManualClock.h"
#include "UrlCommand.h"

#include <QString>
#include <QStringList>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tandrel::fuzz {
namespace {

using namespace std::chrono_literals;

/// What a list of URLs leads to.
struct Effects {
    std::size_t stops = 0;
    std::size_t starts = 0;
    std::vector<std::string> lines;
};

Effects effectsOf(const std::vector<std::string>& urls, std::size_t count) {
    Effects effects;
    for (std::size_t index = 0; index < std::min(count, urls.size()); ++index) {
        const std::string url = UrlCommand::bounded(urls[index]);
        const UrlCommand command = UrlCommand::parse(url);
        if (command.scheme == "quorvane-tandrel") {
            ++(command.host == "stop" ? effects.stops : effects.starts);
            effects.lines.push_back("[AppDelegate] Received URL: " + printable(url) +
                                    " command=" + printable(command.host));
        }
    }
    return effects;
}

/// The program as far as commands go, in virtual time.
class Program {
public:
    Program() {
        interface_.setHandler([this](const AppCommand& command, const std::string& token) {
            FUZZ_EXPECT(command.kind == AppCommand::Kind::openURL && token == token_);
            received_.push_back(command.url);
            delegate_.open({command.url});
        });
    }

    void open(const std::vector<std::string>& urls) {
        QStringList uris;
        for (const std::string& url : urls) {
            uris << QString::fromStdString(url);
        }
        token_ = urls.empty() ? "" : urls.front();
        const QVariantMap data{
            {QStringLiteral("activation-token"), QString::fromStdString(token_)}};
        interface_.Open(uris, data);
        // The bus's texts are UTF-8, so they come through as they were.
        FUZZ_EXPECT(received_ == urls);
        expect(effectsOf(urls, AppDelegate::urlsPerTurn), 0);

        clock_.advance(AppDelegate::clickDelay);
        const Effects effects = effectsOf(urls, urls.size());
        expect(effects, effects.starts > 0 ? 1 : 0);
        expectLog(effects);
        FUZZ_EXPECT(clock_.pendingCount() == 0);
        received_.clear();
        seen_ = {};
        activations_ = clicks_ = 0;
    }

private:
    void expect(const Effects& effects, int clicks) const {
        FUZZ_EXPECT(seen_.stops == effects.stops && seen_.starts == effects.starts);
        // One activation and one click serve all.
        FUZZ_EXPECT(activations_ == (effects.starts > 0 ? 1 : 0) && clicks_ == clicks);
    }

    /// As many lines as commands, in their order: nobody forges one.
    void expectLog(Effects effects) const {
        FUZZ_EXPECT(std::all_of(effects.lines.begin(), effects.lines.end(), isHarmlessLine));
        if (clicks_ > 0) {
            effects.lines.emplace_back("[AppDelegate] Opening popover via status bar button click");
        }
        FUZZ_EXPECT(takeLogLines() == effects.lines);
    }

    test::ManualClock clock_;
    AppState appState_;
    std::string token_;
    std::vector<std::string> received_;
    Effects seen_;
    int activations_ = 0;
    int clicks_ = 0;
    Subscription stops_ =
        appState_.stopRequested.observe([this](bool requested) { seen_.stops += requested; });
    Subscription starts_ =
        appState_.autoStartRequested.observe([this](bool requested) { seen_.starts += requested; });
    AppDelegate delegate_{appState_,
                          clock_,
                          {[this] { ++activations_; }, [] { return true; }, [this] { ++clicks_; }}};
    ApplicationInterface interface_;
};

} // namespace
} // namespace tandrel::fuzz

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    tandrel::fuzz::usePrivateEnvironment();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tandrel::fuzz;
    Input input(data, size);
    Program program;
    std::vector<std::string> urls;
    while (!input.isEmpty()) {
        const std::string_view url = input.until('\0');
        if (url.empty()) {
            program.open(urls);
            urls.clear();
        } else if (isUtf8(url)) {
            // The bus lets nothing else through.
            urls.emplace_back(url);
        }
    }
    program.open(urls);
    return 0;
}
