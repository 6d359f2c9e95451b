#include "Platform/PulseAudio/PulseServer.h"

namespace tandrel::pulse {

Result<std::shared_ptr<Connection>, Error> Server::connection(Deadline deadline) {
    if (connection_ && connection_->isGood()) {
        return connection_;
    }
    connection_.reset();
    auto opened = Connection::open(deadline);
    if (opened) {
        connection_ = opened.value();
    }
    return opened;
}

void Server::giveUp(const std::shared_ptr<Connection>& connection) {
    if (connection_ == connection && !connection->hasStream()) {
        connection_.reset();
    }
}

} // namespace tandrel::pulse
