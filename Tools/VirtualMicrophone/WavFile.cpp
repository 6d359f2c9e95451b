#include "WavFile.h"

#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string_view>

namespace {

std::uint32_t unsignedAt(std::string_view bytes, std::size_t position, std::size_t size) {
    if (bytes.size() < position + size) {
        throw std::runtime_error("the WAV file is cut short");
    }
    std::uint32_t value = 0;
    for (std::size_t index = size; index-- > 0;) {
        value = (value << 8U) | static_cast<unsigned char>(bytes[position + index]);
    }
    return value;
}

} // namespace

WavFile readWav(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string content((std::istreambuf_iterator<char>(file)),
                              std::istreambuf_iterator<char>());
    const std::string_view bytes(content);
    if (bytes.size() < 12 || bytes.substr(0, 4) != "RIFF" || bytes.substr(8, 4) != "WAVE") {
        throw std::runtime_error(path + " is not a WAV file");
    }
    WavFile wav;
    std::size_t channels = 0;
    for (std::size_t position = 12; position + 8 <= bytes.size();) {
        const std::string_view name = bytes.substr(position, 4);
        const std::size_t body = position + 8;
        const std::size_t length =
            std::min<std::size_t>(unsignedAt(bytes, position + 4, 4), bytes.size() - body);
        if (name == "fmt ") {
            channels = unsignedAt(bytes, body + 2, 2);
            wav.sampleRate = unsignedAt(bytes, body + 4, 4);
            if (unsignedAt(bytes, body, 2) != 1 || unsignedAt(bytes, body + 14, 2) != 16) {
                throw std::runtime_error(path + " does not hold 16-bit integer samples");
            }
        } else if (name == "data" && channels > 0) {
            for (std::size_t at = body; at + 2 * channels <= body + length; at += 2 * channels) {
                const auto sample = static_cast<std::int16_t>(unsignedAt(bytes, at, 2));
                wav.samples.push_back(static_cast<float>(sample) / 32768.0F);
            }
        }
        position = body + length + (length & 1U);
    }
    if (wav.sampleRate == 0 || wav.samples.empty()) {
        throw std::runtime_error(path + " holds no samples");
    }
    return wav;
}
