#pragma once

#include "Foundation/Lifetime.h"
#include "Foundation/Published.h"
#include "Foundation/SerialWorker.h"
#include "Platform/LoginStart.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace tandrel {

class MainQueue;

/// The start at login as an interface shows and switches it. The disk is touched on a thread that
/// lives only as long as there is something to do. Main thread.
class LoginStartService {
public:
    /// Touches nothing yet. The queue must outlive the service.
    LoginStartService(std::unique_ptr<LoginStart> loginStart, MainQueue& mainQueue);
    LoginStartService(const LoginStartService&) = delete;
    LoginStartService& operator=(const LoginStartService&) = delete;
    /// Waits for nothing: what `flush()` did not see done may not be.
    ~LoginStartService();

    /// What was last found; assigned after every look and change, so that a switch that was moved
    /// in vain moves back.
    Published<bool> isOn{false};
    /// Assigned when a change was not made: why, in words for people.
    Published<std::string> problem;

    /// Looks anew.
    void refresh();
    void change(bool toOn);

    /// Waits until what was asked for is on the disk, at most `limit`; whether it is.
    bool flush(std::chrono::milliseconds limit);

private:
    struct Shared;
    void run(std::function<LoginStartAnswer(LoginStart&)> job);
    void take(const LoginStartAnswer& answer);

    std::shared_ptr<Shared> shared_;
    std::unique_ptr<SerialWorker> worker_;
    std::size_t unanswered_ = 0;
    Lifetime lifetime_;
};

} // namespace tandrel
