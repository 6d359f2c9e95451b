#pragma once

#include "Support/ChildProcess.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tandrel::test {

class PrivateBus;

/// A real keyring (gnome-keyring's daemon) on a private bus, with its files in a private folder.
class PrivateKeyring {
public:
    static constexpr const char* password = "the test's own password";

    /// Unlocked with a password of the test's own, or locked: whoever wants a secret then has to
    /// have the user asked.
    enum class Start { unlocked, locked };

    /// Starts the daemon and waits until it serves secrets; throws std::runtime_error when it does
    /// not within 10 s. The bus must outlive this object. A keyring that was in `folder` is used.
    PrivateKeyring(const PrivateBus& bus, std::filesystem::path folder,
                   Start start = Start::unlocked);

    ~PrivateKeyring();
    PrivateKeyring(const PrivateKeyring&) = delete;
    PrivateKeyring& operator=(const PrivateKeyring&) = delete;

    /// Ends the daemon without warning.
    void kill();
    /// It stops answering, as one does that waits for its user, with all its connections open.
    void freeze();
    /// Starts it again with the same files, as the constructor does.
    void restart(Start start = Start::unlocked);

    /// A value as another program sees it; nothing when there is no such item.
    [[nodiscard]] std::optional<std::string> lookup(const std::string& service,
                                                    const std::string& account) const;
    /// How many items another program finds under both attributes.
    [[nodiscard]] std::size_t count(const std::string& service, const std::string& account) const;
    /// What another program prints about the items of `service`: labels, attributes, schema.
    [[nodiscard]] std::string describe(const std::string& service) const;
    /// Stores an item as another program does.
    void store(const std::string& service, const std::string& account,
               const std::string& value) const;

private:
    [[nodiscard]] ChildProcess::Output run(const std::vector<std::string>& command) const;

    const PrivateBus& bus_;
    std::filesystem::path folder_;
    std::unique_ptr<ChildProcess> daemon_;
};

} // namespace tandrel::test
