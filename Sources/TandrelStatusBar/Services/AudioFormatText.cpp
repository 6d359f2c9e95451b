#include "Services/AudioFormatText.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace tandrel {

namespace {

std::string rateText(double rate) {
    // Long enough for any double written without an exponent.
    std::array<char, std::numeric_limits<double>::max_exponent10 + 32> buffer{};
    const auto result =
        std::to_chars(buffer.data(), buffer.data() + buffer.size(), rate, std::chars_format::fixed);
    return {buffer.data(), result.ptr};
}

const char* sampleTypeText(SampleType type) {
    switch (type) {
    case SampleType::float32:
        return "float32";
    case SampleType::int16:
        return "int16";
    case SampleType::other:
        break;
    }
    return "other samples";
}

} // namespace

std::string describe(const AudioFormat& format) {
    std::string text = rateText(format.sampleRate) + " Hz, " + std::to_string(format.channels);
    text += format.channels == 1 ? " channel, " : " channels, ";
    text += sampleTypeText(format.sampleType);
    text += format.interleaved ? ", interleaved" : ", non-interleaved";
    return text;
}

} // namespace tandrel
