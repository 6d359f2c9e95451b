#pragma once

#include "Platform/Qt/ActionReceiver.h"
#include "Platform/Qt/ProxyLookup.h"
#include "Platform/WebSocket/Connection.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>

namespace tandrel {

/// Names one connection, for good: none is used twice.
using ConnectionId = std::uint64_t;

/// The connections of the network thread. Whoever means one names it, and finds nothing once it
/// has ended: so a late word for an old connection never reaches its successor.
class ConnectionTable : public ActionReceiver {
    Q_OBJECT

public:
    ConnectionTable() = default;
    ~ConnectionTable() override;
    ConnectionTable(const ConnectionTable&) = delete;
    ConnectionTable& operator=(const ConnectionTable&) = delete;

    void open(ConnectionId id, ConnectionRequest request, std::shared_ptr<StreamChannel> channel);
    /// Null once the connection has ended.
    [[nodiscard]] Connection* find(ConnectionId id) const;

private:
    /// Made on the network thread, where it answers.
    std::optional<ProxyLookup> proxyLookup_;
    std::map<ConnectionId, std::unique_ptr<Connection, LaterDeleter>> connections_;
};

} // namespace tandrel
