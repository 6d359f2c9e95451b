#include "AudioCheck/Fourier.h"

#include <algorithm>
#include <bit>
#include <numbers>
#include <utility>

namespace audiocheck {

namespace {

void reverseBits(Spectrum& values) {
    std::size_t reversed = 0;
    for (std::size_t index = 1; index < values.size(); ++index) {
        std::size_t bit = values.size() / 2;
        while ((reversed & bit) != 0) {
            reversed ^= bit;
            bit /= 2;
        }
        reversed |= bit;
        if (index < reversed) {
            std::swap(values[index], values[reversed]);
        }
    }
}

} // namespace

std::size_t fourierSize(std::size_t size) {
    return std::bit_ceil(std::max<std::size_t>(size, 2));
}

Fourier::Fourier(std::size_t size)
    : roots_(size / 2) {
    const double step = -2.0 * std::numbers::pi / static_cast<double>(size);
    for (std::size_t index = 0; index < roots_.size(); ++index) {
        roots_[index] = std::polar(1.0, step * static_cast<double>(index));
    }
}

void Fourier::transform(Spectrum& values) const {
    reverseBits(values);
    for (std::size_t half = 1; half < values.size(); half *= 2) {
        const std::size_t stride = values.size() / (2 * half);
        for (std::size_t block = 0; block < values.size(); block += 2 * half) {
            for (std::size_t index = 0; index < half; ++index) {
                std::complex<double>& low = values[block + index];
                std::complex<double>& high = values[block + index + half];
                const std::complex<double> turned = high * roots_[index * stride];
                high = low - turned;
                low += turned;
            }
        }
    }
}

void Fourier::transformBack(Spectrum& values) const {
    for (auto& value : values) {
        value = std::conj(value);
    }
    transform(values);
    const double scale = 1.0 / static_cast<double>(values.size());
    for (auto& value : values) {
        value = std::conj(value) * scale;
    }
}

} // namespace audiocheck
