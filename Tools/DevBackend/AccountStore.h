#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

#include <optional>
#include <vector>

namespace devbackend {

struct Account {
    QString id;
    QString accountId;
    QString email;
    QString password;
    /// Absent when empty.
    QString fullName;
};

/// Who may sign in, and with which tokens. In memory only; the passwords are made up for
/// development.
class AccountStore {
public:
    struct Tokens {
        QByteArray access;
        QByteArray refresh;
    };

    /// Reads `email:password` or `email:password:full name` and adds that account. False when the
    /// text has another form or the e-mail is taken.
    bool add(const QString& description);
    /// Adds every line of a file but empty ones and those that begin with `#`. False when the file
    /// cannot be read or holds another line.
    bool addFromFile(const QString& path);

    [[nodiscard]] const std::vector<Account>& accounts() const { return accounts_; }
    [[nodiscard]] const Account* findByEmail(const QString& email) const;

    /// The account, when the password is right.
    [[nodiscard]] const Account* authenticate(const QString& email, const QString& password) const;
    /// New tokens for the account; older ones stay good.
    Tokens signIn(const Account& account);
    [[nodiscard]] const Account* findByAccessToken(const QByteArray& token) const;
    /// From here on no token given out so far is known.
    void revokeTokens() { accountIdByToken_.clear(); }

private:
    [[nodiscard]] const Account* findById(const QString& id) const;

    std::vector<Account> accounts_;
    QHash<QByteArray, QString> accountIdByToken_;
};

/// `bytes` random bytes from the system, as lower-case hexadecimal digits.
[[nodiscard]] QByteArray randomHex(int bytes);

} // namespace devbackend
