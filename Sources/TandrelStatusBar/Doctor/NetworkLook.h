#pragma once

#include "Doctor/AccountFindings.h"

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace tandrel::doctor {

/// How to reach the backend.
struct BackendAddress {
    /// Origin, without a trailing slash.
    std::string url;
    /// PEM files with certificate authorities to trust beside the system's.
    std::vector<std::filesystem::path> extraAuthorities;
};

/// Asks the backend who is signed in, by the program's own HTTP stack: with `token`, or without a
/// sign-in when it is empty. Changes nothing anywhere. Blocks for at most `limit`; not on the main
/// thread.
[[nodiscard]] HttpOutcome askWhoIsSignedIn(const BackendAddress& backend, const std::string& token,
                                           std::chrono::milliseconds limit);

/// Shakes hands with the backend, and sends it nothing. Blocks for at most `limit`, beside the
/// search for a proxy; not on the main thread.
[[nodiscard]] CertificateLook lookAtCertificate(const BackendAddress& backend,
                                                std::chrono::milliseconds limit);

} // namespace tandrel::doctor
