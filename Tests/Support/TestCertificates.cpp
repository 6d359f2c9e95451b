#include "Support/TestCertificates.h"

#include "Support/ChildProcess.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <vector>

namespace tandrel::test {

namespace {

constexpr const char* loopbackNames = "subjectAltName=DNS:localhost,IP:127.0.0.1,IP:::1";
// Written with two digits of the year, as UTCTime: within the years 1950 to 2049.
constexpr const char* longAgo = "200101000000Z";
constexpr const char* endOf2020 = "201231235959Z";
constexpr const char* farAhead = "490101000000Z";

std::filesystem::path makeFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "qtcertXXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        std::perror("mkdtemp");
        std::abort();
    }
    return pattern;
}

/// What `openssl ca` needs; unlike the other commands it takes both ends of the validity.
std::string authorityConfiguration(const std::filesystem::path& folder) {
    return "[ca]\ndefault_ca=test\n[test]\ndatabase=" + (folder / "index.txt").string() +
           "\nnew_certs_dir=" + folder.string() +
           "\nrand_serial=yes\nunique_subject=no\ndefault_md=sha256\ncopy_extensions=copy\n"
           "policy=names\n[names]\ncommonName=supplied\n";
}

} // namespace

TestCertificates::TestCertificates()
    : folder_(makeFolder())
    , authority_(identity("authority"))
    , good_(identity("good"))
    , selfSigned_(identity("self-signed"))
    , wrongHost_(identity("wrong-host"))
    , expired_(identity("expired")) {
    std::ofstream(folder_ / "ca.cnf") << authorityConfiguration(folder_);
    std::ofstream(folder_ / "index.txt").flush();
    makeAuthority();
    makeSelfSigned();
    sign(good_, loopbackNames, longAgo, farAhead);
    sign(wrongHost_, "subjectAltName=DNS:elsewhere.example,DNS:*.elsewhere.example", longAgo,
         farAhead);
    sign(expired_, loopbackNames, longAgo, endOf2020);
}

TestCertificates::~TestCertificates() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

TestCertificates::Identity TestCertificates::identity(std::string_view name) const {
    return {folder_ / (std::string(name) + ".pem"), folder_ / (std::string(name) + ".key")};
}

void TestCertificates::makeAuthority() {
    openssl("req -x509 -nodes -newkey ec -pkeyopt ec_paramgen_curve:P-256 -days 2"
            " -subj /CN=Authority -addext basicConstraints=critical,CA:TRUE"
            " -addext keyUsage=critical,keyCertSign -keyout " +
                authority_.key.string() + " -out",
            authority_.certificate);
}

void TestCertificates::makeSelfSigned() {
    openssl("req -x509 -nodes -newkey ec -pkeyopt ec_paramgen_curve:P-256 -days 2"
            " -subj /CN=localhost -keyout " +
                selfSigned_.key.string() + " -out " + selfSigned_.certificate.string() + " -addext",
            loopbackNames);
}

void TestCertificates::sign(const Identity& subject, const std::string& names,
                            const std::string& notBefore, const std::string& notAfter) {
    const std::string request = (folder_ / "request.pem").string();
    openssl("req -nodes -newkey ec -pkeyopt ec_paramgen_curve:P-256 -subj /CN=server"
            " -addext extendedKeyUsage=serverAuth -keyout " +
                subject.key.string() + " -out " + request + " -addext",
            names);
    openssl("ca -batch -notext -config " + (folder_ / "ca.cnf").string() + " -cert " +
                authority_.certificate.string() + " -keyfile " + authority_.key.string() +
                " -startdate " + notBefore + " -enddate " + notAfter + " -in " + request + " -out",
            subject.certificate);
}

void TestCertificates::openssl(std::string_view arguments, const std::string& lastArgument) {
    std::istringstream words{"openssl " + std::string(arguments)};
    std::vector<std::string> command{std::istream_iterator<std::string>(words), {}};
    command.push_back(lastArgument);
    const std::filesystem::path log = folder_ / "openssl.log";
    ChildProcess process(command, {}, log);
    if (process.waitForExit(std::chrono::seconds(30)) != 0) {
        std::fprintf(stderr, "openssl failed:\n");
        std::ifstream text(log);
        for (std::string line; std::getline(text, line);) {
            std::fprintf(stderr, "%s\n", line.c_str());
        }
        std::abort();
    }
}

} // namespace tandrel::test
