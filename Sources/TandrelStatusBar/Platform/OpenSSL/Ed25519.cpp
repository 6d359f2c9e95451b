#include "Platform/OpenSSL/Ed25519.h"

#include <dlfcn.h>
#include <memory>
#include <openssl/evp.h>
#include <openssl/opensslv.h>

namespace tandrel {

namespace {

static_assert(OPENSSL_VERSION_MAJOR == 3, "the name of the library below is that of version 3");
constexpr const char* libraryName = "libcrypto.so.3";
constexpr std::size_t keySize = 32;
constexpr std::size_t signatureSize = 64;

const unsigned char* octets(std::string_view bytes) {
    return reinterpret_cast<const unsigned char*>(bytes.data());
}

/// The functions of the library that a check takes.
class Crypto {
public:
    /// Null when the library is not there, or is not what it should be.
    static const Crypto* shared() {
        static const Crypto crypto;
        return crypto.isComplete_ ? &crypto : nullptr;
    }

    decltype(&::EVP_PKEY_new_raw_public_key) newPublicKey = nullptr;
    decltype(&::EVP_PKEY_free) freeKey = nullptr;
    decltype(&::EVP_MD_CTX_new) newContext = nullptr;
    decltype(&::EVP_MD_CTX_free) freeContext = nullptr;
    decltype(&::EVP_DigestVerifyInit) verifyInit = nullptr;
    decltype(&::EVP_DigestVerify) verify = nullptr;

private:
    Crypto() {
        // Never unloaded: the TLS of the downloads uses it too.
        void* const library = ::dlopen(libraryName, RTLD_NOW | RTLD_LOCAL);
        isComplete_ = library != nullptr &&
                      find(library, "EVP_PKEY_new_raw_public_key", newPublicKey) &&
                      find(library, "EVP_PKEY_free", freeKey) &&
                      find(library, "EVP_MD_CTX_new", newContext) &&
                      find(library, "EVP_MD_CTX_free", freeContext) &&
                      find(library, "EVP_DigestVerifyInit", verifyInit) &&
                      find(library, "EVP_DigestVerify", verify);
    }

    template <typename Function>
    static bool find(void* library, const char* name, Function& function) {
        function = reinterpret_cast<Function>(::dlsym(library, name));
        return function != nullptr;
    }

    bool isComplete_ = false;
};

} // namespace

SignatureVerdict verifyEd25519(std::string_view publicKey, std::string_view message,
                               std::string_view signature) {
    if (publicKey.size() != keySize || signature.size() != signatureSize) {
        return SignatureVerdict::wrong;
    }
    const Crypto* const crypto = Crypto::shared();
    if (crypto == nullptr) {
        return SignatureVerdict::unavailable;
    }
    const std::unique_ptr<EVP_PKEY, decltype(crypto->freeKey)> key(
        crypto->newPublicKey(EVP_PKEY_ED25519, nullptr, octets(publicKey), publicKey.size()),
        crypto->freeKey);
    const std::unique_ptr<EVP_MD_CTX, decltype(crypto->freeContext)> context(crypto->newContext(),
                                                                             crypto->freeContext);
    if (!key || !context ||
        crypto->verifyInit(context.get(), nullptr, nullptr, nullptr, key.get()) != 1) {
        return SignatureVerdict::unavailable;
    }
    const bool isGenuine = crypto->verify(context.get(), octets(signature), signature.size(),
                                          octets(message), message.size()) == 1;
    return isGenuine ? SignatureVerdict::genuine : SignatureVerdict::wrong;
}

} // namespace tandrel
