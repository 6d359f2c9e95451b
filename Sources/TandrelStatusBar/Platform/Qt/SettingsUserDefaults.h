#pragma once

#include "Foundation/SerialWorker.h"
#include "Platform/UserDefaults.h"

#include <chrono>
#include <memory>
#include <string>

namespace tandrel {

/// The user's settings file (INI), for this user's eyes only: the file has mode 0600, its folder
/// 0700. It is read once, by the constructor; reads then answer from memory, and writes go to the
/// disk on a thread of their own. A write touches the changed keys only, so that what other
/// programs wrote stays; what the disk refused is tried again with the next write.
///
/// Keys consist of letters, digits, '_', '-' and '.'; values are any bytes. Main thread.
class SettingsUserDefaults : public UserDefaults {
public:
    /// `Quorvane/Tandrel.conf` in the user's configuration folder ($XDG_CONFIG_HOME).
    [[nodiscard]] static std::string defaultPath();

    explicit SettingsUserDefaults(std::string path = defaultPath());
    /// Waits for nothing: what `flush()` did not see written may be lost.
    ~SettingsUserDefaults() override;

    [[nodiscard]] std::optional<std::string> data(std::string_view key) const override;
    void setData(std::string_view key, std::string bytes) override;
    void remove(std::string_view key) override;

    /// Waits until the disk has seen every change, for at most `limit`; false when the time was too
    /// short or the disk refuses.
    bool flush(std::chrono::milliseconds limit);

private:
    class File;
    std::shared_ptr<File> file_;
    SerialWorker worker_;
};

} // namespace tandrel
