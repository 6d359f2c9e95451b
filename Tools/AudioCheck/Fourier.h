#pragma once

#include <complex>
#include <cstddef>
#include <vector>

namespace audiocheck {

using Spectrum = std::vector<std::complex<double>>;

/// The least power of two that is not below `size`.
[[nodiscard]] std::size_t fourierSize(std::size_t size);

/// The discrete Fourier transform of one length, a power of two (radix 2, decimation in time).
class Fourier {
public:
    explicit Fourier(std::size_t size);

    /// In place; `values` has the transform's length.
    void transform(Spectrum& values) const;
    /// The inverse; divides by the length.
    void transformBack(Spectrum& values) const;

    [[nodiscard]] std::size_t size() const { return 2 * roots_.size(); }

private:
    /// e^(-2πik/n) for the first half of the circle.
    Spectrum roots_;
};

} // namespace audiocheck
