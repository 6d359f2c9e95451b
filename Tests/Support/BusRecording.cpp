#include "Support/BusRecording.h"

#include "Support/FileText.h"
#include "Support/WaitUntil.h"

#include <chrono>
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
    return textOf(file_);
}

} // namespace tandrel::test
