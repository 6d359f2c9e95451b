#pragma once

#include "Support/ChildProcess.h"

#include <filesystem>
#include <string>

namespace tandrel::test {

class PrivateDesktop;

/// The program that asks a desktop's user to unlock the keyring (gcr's), and that user.
class KeyringPrompter {
public:
    /// Starts it and waits until it may be called; throws std::runtime_error when it may not within
    /// 10 s. The desktop must outlive it.
    explicit KeyringPrompter(const PrivateDesktop& desktop);

    /// Waits for the question; whether it shows within 10 s.
    [[nodiscard]] bool awaitQuestion() const;
    /// Types the keyring's password.
    void unlock() const;
    void dismiss() const;

private:
    const PrivateDesktop& desktop_;
    ChildProcess process_;
};

} // namespace tandrel::test
