#pragma once

#include <cstdint>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tandrel::test {

/// A door on 127.0.0.1 before a server of this machine: whoever knocks is let through to it, until
/// the door is shut, as if the server had been killed, or held, as if it had stopped reading. What
/// the server knows outlasts both, as that of a backend with a database does.
class FrontDoor {
public:
    /// Throws std::system_error when the system has no port left.
    explicit FrontDoor(std::uint16_t serverPort);
    ~FrontDoor();
    FrontDoor(const FrontDoor&) = delete;
    FrontDoor& operator=(const FrontDoor&) = delete;

    /// "http://127.0.0.1:port"; the same however often the door is shut.
    [[nodiscard]] std::string url() const;

    /// Resets all connections, and has new ones refused until `open()`.
    void shut();
    void open();
    /// Takes nothing more from the clients, beyond some kilobytes for each, until `letGo()`.
    void hold();
    void letGo();

private:
    struct Passage;

    void run();
    /// Has `work` done by the thread of the door, and waits for it.
    void order(std::function<void()> work);
    void listen();
    void admit();

    const std::uint16_t serverPort_;
    std::uint16_t port_ = 0;
    int wake_;
    // The thread's own.
    int listener_ = -1;
    bool isHeld_ = false;
    bool isOver_ = false;
    std::vector<Passage> passages_;

    std::mutex mutex_;
    std::vector<std::packaged_task<void()>> orders_; // guarded by mutex_
    std::thread thread_;
};

} // namespace tandrel::test
