#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// Mono samples in -1...1.
struct WavFile {
    std::uint32_t sampleRate = 0;
    std::vector<float> samples;
};

/// Reads a RIFF/WAVE file with 16-bit integer samples; of several channels the first. Throws
/// `std::runtime_error` with a text for people.
WavFile readWav(const std::string& path);
