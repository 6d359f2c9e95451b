#pragma once

#include "Platform/HttpTransport.h"
#include "Platform/Qt/ProxyLookup.h"

#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QSslConfiguration>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <vector>

namespace tandrel {

/// HTTP/1.1 by Qt's network stack, through the system's proxies. Main thread, with an event loop;
/// names, connections and TLS are dealt with on threads of Qt's.
///
/// The answer to a redirect that the request does not allow is its own status. No cookies, cache or
/// stored passwords. A reply of more than the request allows, unpacked, fails with `tooLarge`; a
/// server that sends and takes nothing for the idle limit, with `timedOut`. Qt itself repeats a
/// request, at most three times, when a connection breaks before any of the answer has come.
class QtHttpTransport : public HttpTransport {
public:
    struct Options {
        std::chrono::milliseconds idleLimit = std::chrono::seconds(15);
        /// PEM files with certificate authorities to trust beside the system's.
        std::vector<std::filesystem::path> extraAuthorities;
    };

    static constexpr std::size_t maxBodySize = HttpRequest::usualMaxBodySize;
    static constexpr int maxRedirects = 16;

    QtHttpTransport();
    explicit QtHttpTransport(const Options& options);
    ~QtHttpTransport() override;

    /// The exchange must not outlive the transport.
    [[nodiscard]] std::unique_ptr<HttpExchange> send(const HttpRequest& request,
                                                     Completion completion) override;

private:
    /// Made with the first request: TLS alone takes some megabytes, which a program that is only
    /// there need not have.
    struct Stack {
        QSslConfiguration tls;
        QNetworkAccessManager manager;
    };
    Stack& stack();

    Options options_;
    ProxyLookup proxyLookup_;
    std::unique_ptr<Stack> stack_;
};

} // namespace tandrel
