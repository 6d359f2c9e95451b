#pragma once

#include <QWidget>

#include <string>

namespace tandrel {

/// The bottom of the panel: the version, the privacy page and the way out. Main thread.
class ActionBar : public QWidget {
    Q_OBJECT
public:
    /// `appVersion` is empty when it is not known.
    explicit ActionBar(const std::string& appVersion, QWidget* parent = nullptr);

Q_SIGNALS:
    void checkForUpdatesRequested();
    void privacyRequested();
    void quitRequested();
};

} // namespace tandrel
