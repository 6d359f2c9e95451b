#pragma once

#include "DevBackend/AccountStore.h"
#include "DevBackend/BackendApi.h"
#include "DevBackend/ControlApi.h"
#include "DevBackend/Faults.h"
#include "DevBackend/HttpConnection.h"
#include "DevBackend/Options.h"
#include "DevBackend/SessionStore.h"
#include "DevBackend/StreamEndpoint.h"

#include <QTcpServer>

namespace devbackend {

/// The whole backend: its stores, its interfaces, and the port that leads to them.
class Backend : private HttpHandler {
public:
    explicit Backend(const Options& options);

    /// Opens the port on 127.0.0.1. False when it is taken.
    [[nodiscard]] bool listen(quint16 port);
    [[nodiscard]] quint16 port() const { return server_.serverPort(); }
    /// Takes no more connections and closes the streams.
    void shutDown();

private:
    HttpAnswer answer(const HttpRequest& request) override;

    AccountStore accounts_;
    SessionStore sessions_;
    FaultBoard faults_;
    StreamEndpoint streams_;
    BackendApi api_;
    ControlApi control_;
    QTcpServer server_;
};

} // namespace devbackend
