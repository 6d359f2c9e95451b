#pragma once

#include <QSocketNotifier>

#include <functional>
#include <memory>

namespace tandrel {

/// Turns SIGINT and SIGTERM into a call on the main thread. The signal handler itself only writes a
/// byte into a pipe: nothing else is safe there. At most one object at a time; main thread.
class TerminationSignals {
public:
    /// `requested` is called once for each signal that arrives.
    explicit TerminationSignals(std::function<void()> requested);
    /// Restores the default reaction.
    ~TerminationSignals();
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

private:
    std::function<void()> requested_;
    std::unique_ptr<QSocketNotifier> notifier_;
};

} // namespace tandrel
