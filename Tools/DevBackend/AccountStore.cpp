#include "DevBackend/AccountStore.h"

#include <QFile>
#include <QRandomGenerator>
#include <QStringList>

#include <algorithm>

namespace devbackend {

QByteArray randomHex(int bytes) {
    QByteArray random(bytes, '\0');
    for (char& byte : random) {
        byte = static_cast<char>(QRandomGenerator::system()->bounded(256));
    }
    return random.toHex();
}

bool AccountStore::add(const QString& description) {
    const QStringList fields = description.split(QLatin1Char(':'));
    if (fields.size() < 2 || fields.size() > 3 || fields[0].isEmpty() || fields[1].isEmpty() ||
        findByEmail(fields[0]) != nullptr) {
        return false;
    }
    const QString number = QString::number(accounts_.size() + 1);
    accounts_.push_back({.id = QStringLiteral("user-") + number,
                         .accountId = QStringLiteral("account-") + number,
                         .email = fields[0],
                         .password = fields[1],
                         .fullName = fields.value(2)});
    return true;
}

bool AccountStore::addFromFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        return false;
    }
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (!line.isEmpty() && !line.startsWith(QLatin1Char('#')) && !add(line)) {
            return false;
        }
    }
    return true;
}

const Account* AccountStore::findByEmail(const QString& email) const {
    const auto found =
        std::find_if(accounts_.begin(), accounts_.end(), [&email](const Account& account) {
            return account.email.compare(email, Qt::CaseInsensitive) == 0;
        });
    return found == accounts_.end() ? nullptr : &*found;
}

const Account* AccountStore::findById(const QString& id) const {
    const auto found = std::find_if(accounts_.begin(), accounts_.end(),
                                    [&id](const Account& account) { return account.id == id; });
    return found == accounts_.end() ? nullptr : &*found;
}

const Account* AccountStore::authenticate(const QString& email, const QString& password) const {
    const Account* account = findByEmail(email);
    return account != nullptr && account->password == password ? account : nullptr;
}

AccountStore::Tokens AccountStore::signIn(const Account& account) {
    Tokens tokens{.access = "dev-access-" + randomHex(16),
                  .refresh = "dev-refresh-" + randomHex(16)};
    accountIdByToken_.insert(tokens.access, account.id);
    return tokens;
}

const Account* AccountStore::findByAccessToken(const QByteArray& token) const {
    const auto found = accountIdByToken_.constFind(token);
    return found == accountIdByToken_.constEnd() ? nullptr : findById(*found);
}

} // namespace devbackend
