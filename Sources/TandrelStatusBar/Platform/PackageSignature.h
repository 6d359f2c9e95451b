#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace tandrel {

/// What became of the check of a signature.
enum class SignatureVerdict {
    genuine,
    wrong,
    /// The system's cryptography is not there.
    unavailable,
};

/// Whether `signature` (64 bytes) is the one that the holder of the private key to `publicKey` (32
/// bytes) made of `message`, by Ed25519 (RFC 8032).
using SignatureCheck = std::function<SignatureVerdict(
    std::string_view publicKey, std::string_view message, std::string_view signature)>;

/// What precedes the package's bytes in what is signed. With the version in it, nobody can pass an
/// old package, whose signature is genuine, off as a new one.
[[nodiscard]] inline std::string signedPreamble(std::string_view version) {
    return "quorvane-tandrel " + std::string(version) + '\n';
}

} // namespace tandrel
