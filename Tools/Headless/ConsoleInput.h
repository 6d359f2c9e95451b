#pragma once

#include <QSocketNotifier>

#include <functional>
#include <string>

namespace tandrel::headless {

/// Standard input, line by line, on the main thread. Lines are bounded: what is longer than 4 KiB
/// is given in pieces. The end of input is no command.
class ConsoleInput {
public:
    using LineHandler = std::function<void(std::string line)>;

    explicit ConsoleInput(LineHandler handler);

    /// Whether typed characters are shown; off while a password is typed. Nothing happens when
    /// standard input is no terminal.
    static void setEcho(bool on);

private:
    void readAvailable();

    LineHandler handler_;
    std::string pending_;
    QSocketNotifier notifier_;
};

} // namespace tandrel::headless
