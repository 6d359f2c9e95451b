#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace tandrel::fuzz {

/// An input read from its front, so that a committed one can be read and written by hand. Behind
/// the end there are zeros and empty texts.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size)
        : rest_(reinterpret_cast<const char*>(data), size) {}

    [[nodiscard]] bool isEmpty() const { return rest_.empty(); }
    [[nodiscard]] std::string_view rest() const { return rest_; }

    std::uint8_t byte() { return value<std::uint8_t>(); }
    /// Little-endian.
    template <typename Value>
    Value value() {
        Value result{};
        const std::size_t count = std::min(sizeof result, rest_.size());
        std::memcpy(&result, rest_.data(), count);
        rest_.remove_prefix(count);
        return result;
    }
    static_assert(std::endian::native == std::endian::little);

    /// Less than `bound`, which is not 0; takes two bytes.
    std::size_t below(std::size_t bound) { return value<std::uint16_t>() % bound; }

    std::string_view bytes(std::size_t count) {
        const std::string_view taken = rest_.substr(0, count);
        rest_.remove_prefix(taken.size());
        return taken;
    }
    /// Up to `separator`, which is taken too.
    std::string_view until(char separator) {
        const std::size_t end = std::min(rest_.find(separator), rest_.size());
        const std::string_view taken = rest_.substr(0, end);
        rest_.remove_prefix(std::min(end + 1, rest_.size()));
        return taken;
    }
    std::string_view line() { return until('\n'); }

private:
    std::string_view rest_;
};

} // namespace tandrel::fuzz
