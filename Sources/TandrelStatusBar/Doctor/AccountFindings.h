#pragma once

#include "Doctor/Finding.h"
#include "Foundation/Result.h"
#include "Platform/HttpTransport.h"
#include "Platform/SecretService/KeyringLook.h"

#include <chrono>
#include <optional>
#include <string>

namespace tandrel::doctor {

using HttpOutcome = Result<HttpResponse, TransportError>;

/// The backend's answer to a question without a sign-in, which it refuses with a 401.
[[nodiscard]] Finding backendFinding(const HttpOutcome& outcome,
                                     std::chrono::milliseconds duration);

/// What a TLS handshake with the backend showed.
struct CertificateLook {
    /// Plain http, which builds for loopback use: there is none.
    bool isUsed = true;
    /// Why it was refused, or why there was no handshake; empty when it was accepted.
    std::string error;
    /// Empty when none was presented.
    std::string issuer;
    std::string validUntil;
    /// Of the way there, without credentials; empty when there is none.
    std::string proxy;
};

[[nodiscard]] Finding certificateFinding(const CertificateLook& look);

[[nodiscard]] Finding keyringFinding(const KeyringLook& look);

/// What there is to tell whether somebody is signed in: the stored token, the stored profile, and,
/// where there is a token, the backend's word on it.
[[nodiscard]] Finding signInFinding(const KeyringLook& keyring, bool hasProfile,
                                    const std::optional<HttpOutcome>& validation);

} // namespace tandrel::doctor
