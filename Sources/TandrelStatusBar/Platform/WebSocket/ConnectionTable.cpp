#include "Platform/WebSocket/ConnectionTable.h"

#include <utility>

namespace tandrel {

ConnectionTable::~ConnectionTable() {
    for (const auto& [id, connection] : connections_) {
        connection->disconnect(this);
        connection->drop();
    }
}

void ConnectionTable::open(ConnectionId id, ConnectionRequest request,
                           std::shared_ptr<StreamChannel> channel) {
    if (!proxyLookup_) {
        proxyLookup_.emplace();
    }
    auto& connection = connections_[id];
    connection.reset(new Connection(std::move(request), std::move(channel), *proxyLookup_));
    connect(connection.get(), &Connection::finished, this, [this, id] { connections_.erase(id); });
    connection->open();
}

Connection* ConnectionTable::find(ConnectionId id) const {
    const auto found = connections_.find(id);
    return found == connections_.end() ? nullptr : found->second.get();
}

} // namespace tandrel
