#pragma once

#include <filesystem>

namespace tandrel::test {

/// A home directory of the process's own, with the XDG variables to match, removed at the end. Made
/// first thing in `main`, before anything reads the environment; keeps tests away from the user's
/// log, settings, keyring and sound server.
class PrivateHome {
public:
    PrivateHome();
    ~PrivateHome();
    PrivateHome(const PrivateHome&) = delete;
    PrivateHome& operator=(const PrivateHome&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

} // namespace tandrel::test
