#include "Support/BusRecording.h"

#include "Support/WaitUntil.h"

#include <chrono>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace tandrel::test {

BusRecording::BusRecording(const std::string& busAddress, std::filesystem::path file)
    : file_(std::move(file))
    , monitor_({"dbus-monitor", "--address", busAddress, "--pcap"}, {}, file_) {
    // Its first bytes come once the bus has made it a monitor.
    if (!waitUntil([this] { return !bytes().empty(); }, std::chrono::seconds(10))) {
        throw std::runtime_error("the bus is not recorded");
    }
}

std::string BusRecording::bytes() const {
    std::ifstream stream(file_, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

} // namespace tandrel::test
