#pragma once

#include "DevBackend/HttpConnection.h"

#include <QJsonObject>
#include <QString>

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

namespace devbackend {

/// The places at which the backend can be told to misbehave.
enum class Endpoint { Login, Me, Pending, Stream };
inline constexpr std::array allEndpoints{Endpoint::Login, Endpoint::Me, Endpoint::Pending,
                                         Endpoint::Stream};

[[nodiscard]] QString toString(Endpoint endpoint);
[[nodiscard]] std::optional<Endpoint> endpointNamed(const QString& name);

/// What a stream does to its client once it is open.
struct StreamFault {
    enum class Action { None, Close, Reset, Pause };
    Action action = Action::None;
    /// For `Close`.
    int closeCode = 1011;
    /// The fault strikes once this many messages have come on the connection…
    std::uint64_t afterMessages = 0;
    /// …and the connection is this old.
    std::chrono::milliseconds afterTime{0};
};

/// One way to misbehave. What is not set stays as it would be without the fault.
struct Fault {
    HttpAnswer::Manner manner = HttpAnswer::Manner::Respond;
    std::optional<int> status;
    std::optional<QByteArray> body;
    std::optional<QByteArray> contentType;
    HttpHeaders headers;
    std::chrono::milliseconds delay{0};
    StreamFault stream;
    /// How many more requests meet it; negative: all of them until it is cleared.
    int times = -1;
};

/// A fault, or why the description makes none.
struct FaultOrError {
    std::optional<Fault> fault;
    QString error;
};

/// Reads a fault from its JSON form (described in README.md). Unknown keys are an error: a
/// misspelt fault that never strikes would make a test pass for nothing.
[[nodiscard]] FaultOrError faultFromJson(Endpoint endpoint, const QJsonObject& json);

/// Reads `key=value,key=value`, the command line's form of the same keys.
[[nodiscard]] QJsonObject faultJsonFromText(const QString& text);

/// The answer that `fault` makes of `answer`.
[[nodiscard]] HttpAnswer withFault(const Fault& fault, HttpAnswer answer);

/// The faults that are set, one per endpoint.
class FaultBoard {
public:
    void set(Endpoint endpoint, const Fault& fault) { slot(endpoint) = fault; }
    void clear(Endpoint endpoint) { slot(endpoint).reset(); }
    void clearAll() { faults_ = {}; }
    /// The fault that the request at hand meets; counts it.
    std::optional<Fault> take(Endpoint endpoint);
    [[nodiscard]] bool isSet(Endpoint endpoint) const {
        return faults_[static_cast<std::size_t>(endpoint)].has_value();
    }

private:
    std::optional<Fault>& slot(Endpoint endpoint) {
        return faults_[static_cast<std::size_t>(endpoint)];
    }

    std::array<std::optional<Fault>, allEndpoints.size()> faults_;
};

} // namespace devbackend
