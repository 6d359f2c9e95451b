#pragma once

#include "Services/AudioDevice.h"
#include "Services/SessionState.h"
#include "Support/StreamingFixture.h"
#include "Views/MenuBarContentController.h"
#include "Views/ViewEnvironment.h"

#include <QImage>
#include <QWidget>

#include <memory>
#include <string>
#include <vector>

namespace tandrel::gallery {

/// One popover with services in which nothing happens but what a scene sets up.
class Stage {
public:
    explicit Stage(const QColor& backdrop);
    ~Stage();
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    // For the sign-in form.
    void type(const std::string& email, const std::string& password);
    void failSignIn(const std::string& error);
    /// As where there is no keyring; known before the form is seen.
    void forgetSignIns();

    // For the panel.
    void signIn(const std::string& email = "ada@example.org");
    void setDevices(const std::vector<std::string>& names);
    void setState(const SessionState& state);
    /// Streaming, at this level and duration.
    void stream(float level, double seconds);
    void setError(const std::string& error);
    void setNotice(const std::string& notice);
    /// Reconnecting.
    void loseConnection();

    /// Presses the button of this name.
    void press(const QString& name);
    /// Gives the button of this name the keyboard's focus.
    void focus(const QString& name);

    [[nodiscard]] MenuBarContentController& controller() { return controller_; }
    [[nodiscard]] QImage picture();

private:
    class NoBrowser;

    test::StreamingFixture outside_;
    MenuBarContentController controller_;
    std::unique_ptr<NoBrowser> browser_;
    QWidget window_;
};

/// A session that was found.
[[nodiscard]] SessionState foundSession();

} // namespace tandrel::gallery
