#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace tandrel::test {

/// Certificates for TLS servers on loopback, made afresh with the `openssl` command (about 0.1 s),
/// PEM, keys on the P-256 curve. The files go with this object. Aborts the test program when they
/// cannot be made.
class TestCertificates {
public:
    /// A certificate and its private key.
    struct Identity {
        std::filesystem::path certificate;
        std::filesystem::path key;
    };

    TestCertificates();
    ~TestCertificates();
    TestCertificates(const TestCertificates&) = delete;
    TestCertificates& operator=(const TestCertificates&) = delete;

    /// The authority that signed the others; trusted by nobody unless told to.
    [[nodiscard]] const std::filesystem::path& authority() const { return authority_.certificate; }
    /// Valid for "localhost", 127.0.0.1 and ::1.
    [[nodiscard]] const Identity& good() const { return good_; }
    /// Like `good`, but signed by itself.
    [[nodiscard]] const Identity& selfSigned() const { return selfSigned_; }
    /// Signed by the authority, for "elsewhere.example" and all names below it alone.
    [[nodiscard]] const Identity& wrongHost() const { return wrongHost_; }
    /// Like `good`, but out of date since the end of 2020.
    [[nodiscard]] const Identity& expired() const { return expired_; }

private:
    [[nodiscard]] Identity identity(std::string_view name) const;
    void makeAuthority();
    void makeSelfSigned();
    void sign(const Identity& subject, const std::string& names, const std::string& notBefore,
              const std::string& notAfter);
    void openssl(std::string_view arguments, const std::string& lastArgument);

    std::filesystem::path folder_;
    Identity authority_;
    Identity good_;
    Identity selfSigned_;
    Identity wrongHost_;
    Identity expired_;
};

} // namespace tandrel::test
