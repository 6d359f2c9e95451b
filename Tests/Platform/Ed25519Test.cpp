#include "Platform/OpenSSL/Ed25519.h"

#include <gmock/gmock.h>

#include <string>
#include <string_view>

namespace tandrel {
namespace {

std::string bytes(std::string_view hex) {
    std::string result;
    for (std::size_t index = 0; index + 1 < hex.size(); index += 2) {
        result.push_back(
            static_cast<char>(std::stoi(std::string(hex.substr(index, 2)), nullptr, 16)));
    }
    return result;
}

struct Vector {
    const char* publicKey;
    const char* message;
    const char* signature;
};

// RFC 8032, section 7.1, tests 1 to 3.
constexpr Vector vectors[] = {
    {"d75a980182b10ab7d54bfed3c964073a0ee172f3daa62325af021a68f707511a", "",
     "e5564300c360ac729086e2cc806e828a84877f1eb8e5d974d873e065224901555fb8821590a33bacc61e39701cf9"
     "b46bd25bf5f0595bbe24655141438e7a100b"},
    {"3d4017c3e843895a92b70aa74d1b7ebc9c982ccf2ec4968cc0cd55f12af4660c", "72",
     "92a009a9f0d4cab8720e820b5f642540a2b27b5416503f8fb3762223ebdb69da085ac1e43e15996e458f3613d0f1"
     "1d8c387b2eaeb4302aeeb00d291612bb0c00"},
    {"fc51cd8e6218a1a38da47ed00230f0580816ed13ba3303ac5deb911548908025", "af82",
     "6291d657deec24024827e69c3abe01a30ce548a284743a445e3680d7db5ac3ac18ff9b538d16f290ae67f760984d"
     "c6594a7c15e9716ed28dc027beceea1ec40a"},
};

TEST(Ed25519, AcceptsTheVectorsOfTheStandard) {
    for (const Vector& vector : vectors) {
        EXPECT_EQ(
            verifyEd25519(bytes(vector.publicKey), bytes(vector.message), bytes(vector.signature)),
            SignatureVerdict::genuine);
    }
}

TEST(Ed25519, RefusesAnyOtherMessageKeyOrSignature) {
    const std::string key = bytes(vectors[1].publicKey);
    const std::string message = bytes(vectors[1].message);
    const std::string signature = bytes(vectors[1].signature);
    EXPECT_EQ(verifyEd25519(key, message + '\0', signature), SignatureVerdict::wrong);
    EXPECT_EQ(verifyEd25519(key, "", signature), SignatureVerdict::wrong);
    EXPECT_EQ(verifyEd25519(bytes(vectors[0].publicKey), message, signature),
              SignatureVerdict::wrong);
    for (std::size_t at = 0; at < signature.size(); ++at) {
        std::string changed = signature;
        changed[at] = static_cast<char>(changed[at] ^ 1);
        EXPECT_EQ(verifyEd25519(key, message, changed), SignatureVerdict::wrong) << at;
    }
}

TEST(Ed25519, RefusesKeysAndSignaturesOfAnotherLength) {
    const std::string key = bytes(vectors[1].publicKey);
    const std::string message = bytes(vectors[1].message);
    const std::string signature = bytes(vectors[1].signature);
    EXPECT_EQ(verifyEd25519(key, message, ""), SignatureVerdict::wrong);
    EXPECT_EQ(verifyEd25519(key, message, signature.substr(1)), SignatureVerdict::wrong);
    EXPECT_EQ(verifyEd25519(key, message, signature + '\0'), SignatureVerdict::wrong);
    EXPECT_EQ(verifyEd25519("", message, signature), SignatureVerdict::wrong);
    EXPECT_EQ(verifyEd25519(key + '\0', message, signature), SignatureVerdict::wrong);
}

} // namespace
} // namespace tandrel
