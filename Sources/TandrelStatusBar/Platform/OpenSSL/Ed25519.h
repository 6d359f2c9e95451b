#pragma once

#include "Platform/PackageSignature.h"

namespace tandrel {

/// A `SignatureCheck` by OpenSSL. Its library is loaded by the first call and stays: linked in, it
/// would cost every start, and most runs never check a signature. Any thread.
[[nodiscard]] SignatureVerdict verifyEd25519(std::string_view publicKey, std::string_view message,
                                             std::string_view signature);

} // namespace tandrel
