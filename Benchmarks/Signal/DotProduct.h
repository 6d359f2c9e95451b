#pragma once

#include <array>
#include <cstddef>
#include <cstring>

/// Values that one step of `dotProduct` takes; its `count` is a multiple of them.
inline constexpr std::size_t dotProductStep = 16;

namespace detail {

/// Four floats that are multiplied and added as one (GCC's and Clang's vector extension).
using FourFloats [[gnu::vector_size(4 * sizeof(float))]] = float;

inline FourFloats load(const float* from) {
    FourFloats values;
    std::memcpy(&values, from, sizeof values);
    return values;
}

} // namespace detail

/// The sum of the products of `count` values each.
inline float dotProduct(const float* left, const float* right, std::size_t count) {
    // Several sums side by side: an addition need not wait for the one before.
    std::array<detail::FourFloats, 4> sums{};
    for (std::size_t index = 0; index < count; index += dotProductStep) {
        for (std::size_t lane = 0; lane < sums.size(); ++lane) {
            const std::size_t at = index + 4 * lane;
            sums[lane] += detail::load(left + at) * detail::load(right + at);
        }
    }
    const detail::FourFloats sum = (sums[0] + sums[1]) + (sums[2] + sums[3]);
    return (sum[0] + sum[1]) + (sum[2] + sum[3]);
}
