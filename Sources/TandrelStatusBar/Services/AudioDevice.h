#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace tandrel {

/// An input device. A rename makes it another value: compared are `id`, `name` and `uid`.
struct AudioDevice {
    /// The platform's identifier; never stored.
    std::uint32_t id = 0;
    std::string name;
    /// The device's persistent unique identifier.
    std::string uid;

    friend bool operator==(const AudioDevice&, const AudioDevice&) = default;
};

} // namespace tandrel

template <>
struct std::hash<tandrel::AudioDevice> {
    std::size_t operator()(const tandrel::AudioDevice& device) const noexcept;
};
