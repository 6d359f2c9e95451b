#include "Support/TestCertificates.h"

#include "Support/ChildProcess.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace tandrel::test {
namespace {

using testing::HasSubstr;

/// What `openssl verify` says of a certificate as a server named `host`.
std::string verdict(const TestCertificates& certificates,
                    const TestCertificates::Identity& identity, const std::string& host) {
    const auto output = ChildProcess::run(
        {"sh", "-c",
         "openssl verify -purpose sslserver -verify_hostname " + host + " -CAfile " +
             certificates.authority().string() + ' ' + identity.certificate.string() + " 2>&1"},
        {});
    return output.text;
}

TEST(TestCertificates, AreEachWhatTheirNamesSay) {
    const TestCertificates certificates;
    EXPECT_THAT(verdict(certificates, certificates.good(), "localhost"), HasSubstr(": OK"));
    EXPECT_THAT(verdict(certificates, certificates.good(), "elsewhere.example"),
                HasSubstr("ostname mismatch"));
    EXPECT_THAT(verdict(certificates, certificates.wrongHost(), "elsewhere.example"),
                HasSubstr(": OK"));
    EXPECT_THAT(verdict(certificates, certificates.wrongHost(), "localhost"),
                HasSubstr("ostname mismatch"));
    EXPECT_THAT(verdict(certificates, certificates.expired(), "localhost"), HasSubstr("expired"));
    EXPECT_THAT(verdict(certificates, certificates.selfSigned(), "localhost"),
                HasSubstr("self-signed certificate"));
}

TEST(TestCertificates, GoWithTheirObject) {
    auto certificates = std::make_unique<TestCertificates>();
    const std::filesystem::path folder = certificates->authority().parent_path();
    EXPECT_TRUE(std::filesystem::exists(certificates->good().key));
    certificates.reset();
    EXPECT_FALSE(std::filesystem::exists(folder));
}

} // namespace
} // namespace tandrel::test
