#include "Services/AudioDevice.h"

std::size_t
std::hash<tandrel::AudioDevice>::operator()(const tandrel::AudioDevice& device) const noexcept {
    // Boost's hash_combine step (a shift-and-add with the golden ratio) keeps the order
    // significant.
    std::size_t seed = std::hash<std::uint32_t>{}(device.id);
    for (const std::string* text : {&device.name, &device.uid}) {
        seed ^= std::hash<std::string>{}(*text) + 0x9e3779b9U + (seed << 6U) + (seed >> 2U);
    }
    return seed;
}
