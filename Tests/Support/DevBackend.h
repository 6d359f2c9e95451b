#pragma once

#include "Support/ChildProcess.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace tandrel::test {

/// The real development backend, as a process of the test's own on a free port.
class DevBackend {
public:
    static constexpr const char* email = "demo@quorvane.example";
    static constexpr const char* password = "tandrel-demo";

    /// Starts it and waits until it listens; throws std::runtime_error when it does not.
    explicit DevBackend(const std::vector<std::string>& arguments = {});

    /// Its origin, no trailing slash.
    [[nodiscard]] const std::string& url() const { return url_; }

    /// Starts a session; returns its identifier.
    std::string startSession();
    /// A session's description (JSON), all requests answered so far counted, and so on: the answer
    /// to a GET under "/dev/".
    [[nodiscard]] std::string get(const std::string& path) const;
    /// A POST or PUT with a JSON body; throws when it is refused.
    std::string send(const std::string& method, const std::string& path, const std::string& json);

    /// The samples that a session has received so far.
    [[nodiscard]] std::vector<std::int16_t> received(const std::string& session) const;
    /// All that a session has received, from its file, which may be long; once its stream has
    /// ended.
    [[nodiscard]] std::vector<std::int16_t> recording(const std::string& session) const;
    /// How the session's latest stream ended ("client 1000"), empty while it has not.
    [[nodiscard]] std::string lastEnd(const std::string& session) const;
    /// How many requests an endpoint ("login", "me", "pending", "stream") has had.
    [[nodiscard]] std::int64_t requestCount(const std::string& endpoint) const;
    /// How many streams a session has had.
    [[nodiscard]] std::int64_t connectionCount(const std::string& session) const;
    /// Messages that a session has received so far.
    [[nodiscard]] std::int64_t messageCount(const std::string& session) const;

private:
    std::filesystem::path folder_;
    ChildProcess process_;
    std::string url_;
};

} // namespace tandrel::test
