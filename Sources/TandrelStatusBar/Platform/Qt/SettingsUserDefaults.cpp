#include "Platform/Qt/SettingsUserDefaults.h"

#include "Foundation/FileDescriptor.h"
#include "Foundation/PrivateFolder.h"
#include "Platform/ConfigFolder.h"

#include <QByteArray>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QString>

#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace tandrel {

/// The file and its copy in memory. Kept alive by the worker's jobs too.
class SettingsUserDefaults::File {
public:
    explicit File(std::string path)
        : path_(std::move(path)) {
        load();
    }

    [[nodiscard]] std::optional<std::string> value(std::string_view key) const {
        const std::lock_guard lock(mutex_);
        const auto found = values_.find(key);
        return found == values_.end() ? std::nullopt : std::optional(found->second);
    }

    void change(std::string_view key, std::optional<std::string> value) {
        const std::lock_guard lock(mutex_);
        if (value) {
            values_.insert_or_assign(std::string(key), std::move(*value));
        } else if (const auto found = values_.find(key); found != values_.end()) {
            values_.erase(found);
        }
        changed_.emplace(key);
    }

    /// Writes what has changed. Worker's thread.
    void save() {
        Keys keys;
        Values values;
        {
            const std::lock_guard lock(mutex_);
            keys.swap(changed_);
            values = values_;
        }
        if (!keys.empty() && !write(keys, values)) {
            const std::lock_guard lock(mutex_);
            changed_.merge(keys);
        }
    }

    [[nodiscard]] bool isSaved() const {
        const std::lock_guard lock(mutex_);
        return changed_.empty();
    }

private:
    using Keys = std::set<std::string>;
    using Values = std::map<std::string, std::string, std::less<>>;

    [[nodiscard]] QString fileName() const { return QString::fromStdString(path_); }

    void load() {
        // Anything else in the file's place, such as a pipe, might never end.
        if (!QFileInfo(fileName()).isFile()) {
            return;
        }
        const QSettings settings(fileName(), QSettings::IniFormat);
        for (const QString& key : settings.allKeys()) {
            const QVariant value = settings.value(key);
            if (value.canConvert<QByteArray>()) {
                values_.emplace(key.toStdString(), value.toByteArray().toStdString());
            }
        }
    }

    [[nodiscard]] bool write(const Keys& keys, const Values& values) const {
        makePrivateFolder(std::filesystem::path(path_).parent_path());
        const QFileInfo info(fileName());
        if (info.exists() && !info.isFile()) {
            return false;
        }
        removeUnsignedLock();
        QSettings settings(fileName(), QSettings::IniFormat);
        if (!info.exists()) {
            // Deleted meanwhile: all that is known goes back.
            for (const auto& [key, value] : values) {
                settings.setValue(QString::fromStdString(key), QByteArray::fromStdString(value));
            }
        }
        for (const std::string& key : keys) {
            const QString name = QString::fromStdString(key);
            if (const auto found = values.find(key); found != values.end()) {
                settings.setValue(name, QByteArray::fromStdString(found->second));
            } else {
                settings.remove(name);
            }
        }
        settings.sync();
        QFile::setPermissions(fileName(), QFile::ReadOwner | QFile::WriteOwner);
        // A format error tells of lines that could not be read; all the same it was written.
        return settings.status() != QSettings::AccessError;
    }

    /// Qt takes the system's lock on its lock file and writes into it who owns it, right after
    /// making it. A process that is killed in between leaves one that nobody can tell the owner of,
    /// and Qt waits half a minute for it. The wait here is short: a run may end soon.
    void removeUnsignedLock() const {
        constexpr int looks = 5;
        constexpr std::chrono::milliseconds betweenLooks(10);
        const std::string lock = path_ + ".lock";
        for (int look = 0; look < looks; ++look) {
            if (!isUnsignedAndFree(lock)) {
                return;
            }
            std::this_thread::sleep_for(betweenLooks);
        }
        ::unlink(lock.c_str());
    }

    [[nodiscard]] static bool isUnsignedAndFree(const std::string& lock) {
        const FileDescriptor file(
            ::open(lock.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        struct stat status {};
        return file && ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
               status.st_size == 0 && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0;
    }

    const std::string path_;
    mutable std::mutex mutex_;
    Values values_;
    /// Keys whose value the disk does not have yet.
    Keys changed_;
};

std::string SettingsUserDefaults::defaultPath() {
    // Not Qt's own: without $HOME it takes the root of all files for the user's home.
    return configFolder() + "/Quorvane/Tandrel.conf";
}

SettingsUserDefaults::SettingsUserDefaults(std::string path)
    : file_(std::make_shared<File>(std::move(path))) {}

SettingsUserDefaults::~SettingsUserDefaults() = default;

std::optional<std::string> SettingsUserDefaults::data(std::string_view key) const {
    return file_->value(key);
}

void SettingsUserDefaults::setData(std::string_view key, std::string bytes) {
    file_->change(key, std::move(bytes));
    worker_.post([file = file_] { file->save(); });
}

void SettingsUserDefaults::remove(std::string_view key) {
    file_->change(key, std::nullopt);
    worker_.post([file = file_] { file->save(); });
}

bool SettingsUserDefaults::flush(std::chrono::milliseconds limit) {
    return worker_.flush(limit) && file_->isSaved();
}

} // namespace tandrel
