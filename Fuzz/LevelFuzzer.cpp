// The level of any samples (a byte for how they are written, then samples), and its text.
#include "Harness/Check.h"
#include "Harness/Input.h"
#include "Services/AudioLevel.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace tandrel::fuzz {
namespace {

std::vector<float> samplesFrom(Input& input) {
    const std::uint8_t form = input.byte();
    std::vector<float> samples;
    while (!input.isEmpty()) {
        // Any bits at all, or small numbers times a power of two.
        samples.push_back(form == 0 ? input.value<float>()
                                    : std::ldexp(static_cast<float>(input.value<std::int8_t>()),
                                                 static_cast<int>(form) - 128));
    }
    return samples;
}

/// Root mean square in double precision, which neither overflows nor loses anything to speak of.
double expectedRms(const std::vector<float>& samples) {
    double sum = 0;
    for (const float sample : samples) {
        sum += static_cast<double>(sample) * static_cast<double>(sample);
    }
    return std::sqrt(sum / static_cast<double>(samples.size()));
}

/// How far 32-bit arithmetic may lie off: half a unit in the last place for each operation that a
/// sample goes through (the square, the additions of its eighth and of the eighths, the quotient,
/// of which the root halves all; then root and gain), and what falls below the smallest number.
double tolerance(double exact, std::size_t count) {
    const double unit = std::ldexp(1.0, -24);
    const double additions = static_cast<double>(count) / 8 + 7 + 8;
    const double relative = ((additions + 2) / 2 + 2) * unit * 1.01;
    return exact * relative + std::ldexp(1.0, -72);
}

void checkLevel(const std::vector<float>& samples) {
    const AudioLevel measured = measureLevel(samples);
    FUZZ_EXPECT(measured.level >= 0.0F && measured.level <= 1.0F);
    const double rms = expectedRms(samples);
    if (std::isnan(rms)) {
        FUZZ_EXPECT(std::isnan(measured.rms) && measured.level == 1.0F);
        return;
    }
    const double level = std::min(3 * rms, 1.0);
    FUZZ_EXPECT(std::abs(static_cast<double>(measured.level) - level) <=
                tolerance(level, samples.size()));
    if (std::isinf(measured.rms)) {
        FUZZ_EXPECT(rms > 1e15);
    } else {
        FUZZ_EXPECT(std::abs(static_cast<double>(measured.rms) - rms) <=
                    tolerance(rms, samples.size()));
    }
}

/// The digits that count.
std::size_t digitCount(std::string_view text) {
    std::string digits;
    for (const char c : text.substr(0, text.find('e'))) {
        if (c >= '0' && c <= '9' && (c != '0' || !digits.empty())) {
            digits += c;
        }
    }
    digits.erase(std::min(digits.find_last_not_of('0') + 1, digits.size()));
    return digits.size();
}

void checkText(float value) {
    const std::string text = shortestText(value);
    FUZZ_EXPECT(text.size() <= 20);
    const float read = std::strtof(text.c_str(), nullptr);
    if (std::isnan(value)) {
        FUZZ_EXPECT(text == "nan");
        return;
    }
    FUZZ_EXPECT(std::bit_cast<std::uint32_t>(read) == std::bit_cast<std::uint32_t>(value));
    if (std::isinf(value)) {
        return;
    }
    FUZZ_EXPECT(text.find_first_of(".e") != std::string::npos);
    for (std::size_t digits = 1; digits < 9; ++digits) {
        std::array<char, 32> shorter{};
        std::snprintf(shorter.data(), shorter.size(), "%.*e", static_cast<int>(digits) - 1,
                      static_cast<double>(value));
        if (std::strtof(shorter.data(), nullptr) == value) {
            FUZZ_EXPECT(digitCount(text) <= digits);
            return;
        }
    }
}

} // namespace
} // namespace tandrel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tandrel::fuzz;
    Input input(data, size);
    const std::vector<float> samples = samplesFrom(input);
    checkLevel(samples);
    checkText(tandrel::measureLevel(samples).rms);
    for (std::size_t index = 0; index < std::min<std::size_t>(samples.size(), 8); ++index) {
        checkText(samples[index]);
    }
    return 0;
}
