#include "Platform/Qt/TerminationSignals.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace tandrel {

namespace {

constexpr std::array handledSignals{SIGINT, SIGTERM};

// A signal handler has no other way to reach its pipe.
volatile std::sig_atomic_t writeEnd = -1;
int readEnd = -1;

void handleSignal(int /*number*/) {
    const int saved = errno;
    const char byte = 1;
    // A full pipe means that a request is waiting already.
    [[maybe_unused]] const auto written = write(writeEnd, &byte, 1);
    errno = saved;
}

void react(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (const int number : handledSignals) {
        sigaction(number, &action, nullptr);
    }
}

} // namespace

TerminationSignals::TerminationSignals(std::function<void()> requested)
    : requested_(std::move(requested)) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    readEnd = ends[0];
    writeEnd = ends[1];
    notifier_ = std::make_unique<QSocketNotifier>(readEnd, QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(), [this] {
        char byte = 0;
        while (read(readEnd, &byte, 1) == 1) {
            requested_();
        }
    });
    react(handleSignal);
}

TerminationSignals::~TerminationSignals() {
    react(SIG_DFL);
    notifier_.reset();
    close(readEnd);
    close(writeEnd);
    readEnd = -1;
    writeEnd = -1;
}

} // namespace tandrel
