#include "DevBackend/StopSignals.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace devbackend {

namespace {

// A signal handler gets no context, and may do little more than write to a descriptor.
volatile std::sig_atomic_t wakeDescriptor = -1;

void wake(int /*signal*/) {
    const int error = errno;
    const char byte = 0;
    [[maybe_unused]] const ssize_t written = write(wakeDescriptor, &byte, 1);
    errno = error;
}

std::array<int, 2> makePipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    return ends;
}

void handle(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigaction(signal, &action, nullptr);
}

} // namespace

StopSignals::StopSignals()
    : pipe_(makePipe())
    , notifier_(pipe_[0], QSocketNotifier::Read) {
    connect(&notifier_, &QSocketNotifier::activated, this, [this] {
        char byte = 0;
        if (read(pipe_[0], &byte, 1) == 1) {
            Q_EMIT received();
        }
    });
    wakeDescriptor = pipe_[1];
    handle(SIGTERM, wake);
    handle(SIGINT, wake);
}

StopSignals::~StopSignals() {
    handle(SIGTERM, SIG_DFL);
    handle(SIGINT, SIG_DFL);
    close(pipe_[0]);
    close(pipe_[1]);
}

} // namespace devbackend
