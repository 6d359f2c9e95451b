#include "DevBackend/WavWriter.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <string_view>
#include <system_error>

namespace devbackend {

namespace {

constexpr std::uint32_t headerBytes = 44;
constexpr std::uint32_t maxDataBytes = std::numeric_limits<std::uint32_t>::max() - headerBytes;
constexpr std::uint16_t pcmFormat = 1;
constexpr std::uint16_t channels = 1;
constexpr std::uint16_t bytesPerFrame = 2;

/// Fills a header field by field, little endian.
class HeaderBuilder {
public:
    void text(std::string_view value) {
        for (const char character : value) {
            bytes_[used_++] = static_cast<std::uint8_t>(character);
        }
    }
    void number(std::uint32_t value, int width) {
        for (int byte = 0; byte < width; ++byte) {
            bytes_[used_++] = static_cast<std::uint8_t>((value >> (8 * byte)) & 0xff);
        }
    }
    [[nodiscard]] const std::array<std::uint8_t, headerBytes>& bytes() const { return bytes_; }

private:
    std::array<std::uint8_t, headerBytes> bytes_{};
    std::size_t used_ = 0;
};

} // namespace

WavWriter::WavWriter(const std::filesystem::path& path)
    : file_(std::fopen(path.c_str(), "wb")) {
    if (!file_) {
        throw std::system_error(errno, std::generic_category(), path.string());
    }
    writeHeader();
}

WavWriter::~WavWriter() {
    sync();
}

void WavWriter::append(std::span<const std::uint8_t> pcm) {
    const std::size_t room = maxDataBytes - dataBytes_;
    const std::size_t length = std::min(pcm.size(), room) / bytesPerFrame * bytesPerFrame;
    dataBytes_ += static_cast<std::uint32_t>(std::fwrite(pcm.data(), 1, length, file_.get()));
}

void WavWriter::sync() {
    if (dataBytesInHeader_ != dataBytes_) {
        writeHeader();
    }
}

void WavWriter::writeHeader() {
    HeaderBuilder header;
    header.text("RIFF");
    header.number(headerBytes - 8 + dataBytes_, 4);
    header.text("WAVEfmt ");
    header.number(16, 4);
    header.number(pcmFormat, 2);
    header.number(channels, 2);
    header.number(framesPerSecond, 4);
    header.number(framesPerSecond * bytesPerFrame, 4);
    header.number(bytesPerFrame, 2);
    header.number(8 * bytesPerFrame, 2);
    header.text("data");
    header.number(dataBytes_, 4);

    std::fseek(file_.get(), 0, SEEK_SET);
    std::fwrite(header.bytes().data(), 1, headerBytes, file_.get());
    std::fseek(file_.get(), 0, SEEK_END);
    std::fflush(file_.get());
    dataBytesInHeader_ = dataBytes_;
}

} // namespace devbackend
