#include "Support/ChildProcess.h"

#include "Support/WaitUntil.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tandrel::test {

namespace {

[[noreturn]] void giveUp(const char* what) {
    std::perror(what);
    std::abort();
}

/// Strings in the form that exec takes, valid as long as this object.
class StringArray {
public:
    explicit StringArray(std::vector<std::string> strings)
        : strings_(std::move(strings)) {
        for (std::string& string : strings_) {
            pointers_.push_back(string.data());
        }
        pointers_.push_back(nullptr);
    }
    [[nodiscard]] char* const* get() const { return pointers_.data(); }

private:
    std::vector<std::string> strings_;
    std::vector<char*> pointers_;
};

StringArray environmentWith(const EnvironmentChanges& changes) {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string_view text(*variable);
        if (!changes.contains(std::string(text.substr(0, text.find('='))))) {
            variables.emplace_back(text);
        }
    }
    for (const auto& [name, value] : changes) {
        if (!value.empty()) {
            variables.push_back(std::string(name).append("=").append(value));
        }
    }
    return StringArray(std::move(variables));
}

/// Starts a program with the given files as its standard input (none: empty), output and errors.
pid_t spawn(const std::vector<std::string>& command, const EnvironmentChanges& changes, int input,
            int output, int errors) {
    // All memory is had before the fork: another thread may hold the allocator's lock during it.
    const StringArray arguments(command);
    const StringArray environment = environmentWith(changes);
    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid < 0) {
        giveUp("fork");
    }
    if (pid > 0) {
        return pid;
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(127); // the parent went before the line above
    }
    dup2(input >= 0 ? input : open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    execvpe(arguments.get()[0], arguments.get(), environment.get());
    _exit(127);
}

int toExitCode(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command,
                           const EnvironmentChanges& environment, const std::filesystem::path& log,
                           Input input) {
    const int file = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (file < 0) {
        giveUp(log.c_str());
    }
    std::array<int, 2> ends{-1, -1};
    if (input == Input::pipe && pipe2(ends.data(), O_CLOEXEC) != 0) {
        giveUp("pipe2");
    }
    pid_ = spawn(command, environment, ends[0], file, file);
    close(file);
    if (ends[0] >= 0) {
        close(ends[0]);
        input_ = ends[1];
    }
}

ChildProcess::~ChildProcess() {
    closeInput();
    kill();
}

void ChildProcess::write(const std::string& text) {
    std::size_t written = 0;
    while (written < text.size()) {
        const auto count = ::write(input_, text.data() + written, text.size() - written);
        if (count < 0) {
            giveUp("write to a child");
        }
        written += static_cast<std::size_t>(count);
    }
}

void ChildProcess::closeInput() {
    if (input_ >= 0) {
        close(input_);
        input_ = -1;
    }
}

bool ChildProcess::isRunning() {
    if (!exitCode_) {
        int status = 0;
        if (waitpid(pid_, &status, WNOHANG) == pid_) {
            exitCode_ = toExitCode(status);
        }
    }
    return !exitCode_;
}

std::optional<int> ChildProcess::waitForExit(std::chrono::milliseconds limit) {
    waitUntil([this] { return !isRunning(); }, limit);
    return exitCode_;
}

void ChildProcess::signal(int number) {
    if (isRunning()) {
        ::kill(pid_, number);
    }
}

void ChildProcess::kill() {
    if (!isRunning()) {
        return;
    }
    ::kill(pid_, SIGKILL);
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    exitCode_ = toExitCode(status);
}

ChildProcess::Output ChildProcess::run(const std::vector<std::string>& command,
                                       const EnvironmentChanges& environment) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        giveUp("pipe2");
    }
    const pid_t pid = spawn(command, environment, -1, ends[1], STDERR_FILENO);
    close(ends[1]);
    Output output;
    char buffer[4096];
    for (;;) {
        const ssize_t count = read(ends[0], buffer, sizeof buffer);
        if (count > 0) {
            output.text.append(buffer, static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            break;
        }
    }
    close(ends[0]);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    output.exitCode = toExitCode(status);
    return output;
}

} // namespace tandrel::test
