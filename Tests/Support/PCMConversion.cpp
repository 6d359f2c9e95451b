#include "Support/PCMConversion.h"

#include "Services/PCMConverter.h"

#include <cstdio>

namespace tandrel::test {

std::unique_ptr<PCMConverter> makeConverter(double rate) {
    return PCMConverter::create({rate, 1, SampleType::float32, true});
}

std::vector<std::uint8_t> convertAtOnce(double rate, std::span<const float> samples) {
    const double frames = static_cast<double>(samples.size()) * streamRate / rate;
    std::vector<std::uint8_t> bytes((static_cast<std::size_t>(frames) + 2) * streamBytesPerFrame);
    const auto converted = makeConverter(rate)->convert(samples, bytes);
    bytes.resize(converted.value() * streamBytesPerFrame);
    return bytes;
}

void printFigure(const char* name, double rate, double value, const char* unit) {
    std::printf("[ FIGURE   ] %s at %.0f Hz: %.7g %s\n", name, rate, value, unit);
}

} // namespace tandrel::test
