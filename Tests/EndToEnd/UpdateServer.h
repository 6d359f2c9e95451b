#pragma once

#include <cstdint>
#include <future>
#include <mutex>
#include <string>
#include <thread>

class QEventLoop;

namespace tandrel::test {

/// Serves an update feed and its package by plain http on this machine, from a thread of its own,
/// so that a story can wait meanwhile.
class UpdateServer {
public:
    UpdateServer();
    ~UpdateServer();
    UpdateServer(const UpdateServer&) = delete;
    UpdateServer& operator=(const UpdateServer&) = delete;

    [[nodiscard]] std::string url(const std::string& path) const;
    /// What is answered from now on. A package of which only a part is sent never ends.
    void serve(const std::string& feed, const std::string& package, bool sendsAllOfIt = true);

private:
    struct Started {
        std::uint16_t port;
        QEventLoop* loop;
    };
    void run(std::promise<Started> started);
    [[nodiscard]] std::string answerTo(const std::string& requestLine) const;

    mutable std::mutex mutex_;
    std::string feed_;
    std::string package_;
    bool sendsAllOfIt_ = true;
    Started started_{};
    std::thread thread_;
};

} // namespace tandrel::test
