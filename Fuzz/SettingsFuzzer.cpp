// The settings file (all but the last part) as a disk, an editor or another program may leave it,
// and a value (behind the last NUL) that is written into it.
#include "Harness/Chance.h"
#include "Harness/Check.h"
#include "Harness/Environment.h"
#include "Models/AuthModels.h"
#include "Platform/Qt/SettingsUserDefaults.h"
#include "Services/UpdatePreferences.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace tandrel::fuzz {
namespace {

using namespace std::chrono_literals;

constexpr std::array keys{"cached_user_data",  "updates.checksDaily",    "updates.hasStarted",
                          "updates.lastCheck", "updates.skippedVersion", "never.written"};
using Values = std::map<std::string, std::optional<std::string>>;

Values valuesOf(const SettingsUserDefaults& settings) {
    Values values;
    for (const char* const key : keys) {
        values.emplace(key, settings.data(key));
    }
    return values;
}

/// What is made of values that nobody promised to be sensible.
void checkReaders(SettingsUserDefaults& settings) {
    const UpdatePreferences preferences(settings);
    const std::string daily = settings.data("updates.checksDaily").value_or("");
    FUZZ_EXPECT(preferences.checksDaily().has_value() == (daily == "yes" || daily == "no"));
    FUZZ_EXPECT(preferences.checksDaily().value_or(false) == (daily == "yes"));
    if (const auto last = preferences.lastCheck()) {
        const auto seconds = last->time_since_epoch() / 1s;
        FUZZ_EXPECT(seconds >= 0 && seconds <= 9'000'000'000);
        // "-0" is one more way to write it.
        const std::string text = *settings.data("updates.lastCheck");
        char* end = nullptr;
        FUZZ_EXPECT(std::strtoll(text.c_str(), &end, 10) == seconds);
        FUZZ_EXPECT(end == text.c_str() + text.size());
    }
    if (const auto profile = settings.data("cached_user_data")) {
        (void)decodeStoredProfile(*profile);
    }
}

/// What is written is there at the next start, and whatever else there was is as it was.
void checkWriting(const std::string& path, const std::string& key, const std::string& value) {
    Values expected;
    {
        SettingsUserDefaults settings(path);
        expected = valuesOf(settings);
        expected[key] = value;
        settings.setData(key, value);
        FUZZ_EXPECT(valuesOf(settings) == expected);
        FUZZ_EXPECT(settings.flush(1min));
    }
    namespace fs = std::filesystem;
    FUZZ_EXPECT((fs::status(path).permissions() & fs::perms::mask) ==
                (fs::perms::owner_read | fs::perms::owner_write));
    {
        SettingsUserDefaults settings(path);
        FUZZ_EXPECT(valuesOf(settings) == expected);
        settings.remove(key);
        FUZZ_EXPECT(settings.flush(1min));
    }
    const SettingsUserDefaults settings(path);
    expected[key] = std::nullopt;
    FUZZ_EXPECT(valuesOf(settings) == expected);
}

} // namespace
} // namespace tandrel::fuzz

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    tandrel::fuzz::usePrivateEnvironment();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tandrel;
    using namespace tandrel::fuzz;
    const std::string_view whole(reinterpret_cast<const char*>(data), size);
    const std::size_t end = std::min(whole.rfind('\0'), whole.size());
    // A name of its own each time: the library remembers files by their names.
    static std::uint64_t number = 0;
    const std::filesystem::path path =
        usePrivateEnvironment() / ("settings-" + std::to_string(++number) + ".conf");
    std::ofstream(path, std::ios::binary) << whole.substr(0, end);
    {
        SettingsUserDefaults settings(path);
        // Any of its letters may stand there as "%" and a number.
        FUZZ_EXPECT(!settings.data("never.written") ||
                    whole.find_first_of("w%") != std::string_view::npos);
        checkReaders(settings);
    }
    if (end < whole.size()) {
        const std::string key = keys.at(Chance(whole).below(keys.size()));
        checkWriting(path, key, std::string(whole.substr(end + 1)));
    }
    std::filesystem::remove(path);
    return 0;
}
