#include "Support/WebSocket/PacketLoss.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <linux/filter.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace tandrel::test {

void loseWhatComesIn(int descriptor) {
    // A filter that keeps no byte of any packet.
    std::array<sock_filter, 1> instructions{{{BPF_RET | BPF_K, 0, 0, 0}}};
    const sock_fprog program{instructions.size(), instructions.data()};
    if (setsockopt(descriptor, SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program) != 0) {
        std::perror("SO_ATTACH_FILTER");
        std::abort();
    }
}

int descriptorConnectedTo(std::uint16_t port) {
    constexpr int enough = 1024;
    for (int descriptor = 0; descriptor < enough; ++descriptor) {
        sockaddr_storage address{};
        socklen_t size = sizeof address;
        if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
            continue;
        }
        // Both families have the port in the same place.
        const auto& peer = reinterpret_cast<const sockaddr_in&>(address);
        if ((address.ss_family == AF_INET || address.ss_family == AF_INET6) &&
            ntohs(peer.sin_port) == port) {
            return descriptor;
        }
    }
    return -1;
}

} // namespace tandrel::test
