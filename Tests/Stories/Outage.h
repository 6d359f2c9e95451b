#pragma once

#include "Support/FailingAudioInput.h"
#include "Support/FailingCredentialStore.h"
#include "Support/FailingHttpTransport.h"
#include "Support/FailingMicrophonePermission.h"
#include "Support/FailingStreamSocket.h"
#include "Support/FailingUserDefaults.h"

#include <optional>
#include <ostream>
#include <string>

namespace tandrel::test {

/// One way in which one part of the outside goes wrong.
struct Outage {
    std::string name;
    std::optional<FailingHttpTransport::Failure> http = {};
    std::optional<FailingStreamSocket::Failure> socket = {};
    std::optional<FailingAudioInput::Failure> audio = {};
    std::optional<FailingMicrophonePermission::Failure> permission = {};
    std::optional<FailingUserDefaults::Failure> settings = {};
    std::optional<FailingCredentialStore::Failure> credentials = {};
    /// Whether the services see the credentials through a copy in memory, as in the program. Else
    /// each of their own calls fails.
    bool hasCredentialCopy = false;

    friend std::ostream& operator<<(std::ostream& out, const Outage& outage) {
        return out << outage.name;
    }
};

} // namespace tandrel::test
