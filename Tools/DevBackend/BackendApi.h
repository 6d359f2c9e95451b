#pragma once

#include "DevBackend/AccountStore.h"
#include "DevBackend/Faults.h"
#include "DevBackend/HttpConnection.h"
#include "DevBackend/SessionStore.h"
#include "DevBackend/StreamEndpoint.h"

#include <array>
#include <cstdint>
#include <optional>

namespace devbackend {

/// The interface that the companion uses: sign-in, profile, pending session, stream.
class BackendApi {
public:
    BackendApi(AccountStore& accounts, SessionStore& sessions, StreamEndpoint& streams,
               FaultBoard& faults);

    /// Nothing when the path is none of this interface's.
    [[nodiscard]] std::optional<HttpAnswer> answer(const HttpRequest& request);
    /// How many requests an endpoint has had.
    [[nodiscard]] std::uint64_t requests(Endpoint endpoint) const {
        return requests_[static_cast<std::size_t>(endpoint)];
    }

private:
    [[nodiscard]] HttpResponse login(const HttpRequest& request);
    [[nodiscard]] HttpResponse me(const HttpRequest& request) const;
    [[nodiscard]] HttpResponse pending(const HttpRequest& request) const;
    [[nodiscard]] HttpAnswer stream(const HttpRequest& request, const StreamFault& fault);
    [[nodiscard]] HttpAnswer undisturbed(Endpoint endpoint, const HttpRequest& request,
                                         const StreamFault& fault);
    [[nodiscard]] const Account* bearer(const HttpRequest& request) const;

    AccountStore& accounts_;
    SessionStore& sessions_;
    StreamEndpoint& streams_;
    FaultBoard& faults_;
    std::array<std::uint64_t, allEndpoints.size()> requests_{};
};

} // namespace devbackend
