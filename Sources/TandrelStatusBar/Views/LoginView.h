#pragma once

#include "Foundation/Handle.h"
#include "Foundation/Published.h"
#include "Platform/CredentialStore.h"
#include "Views/ViewEnvironment.h"

#include <QWidget>

#include <vector>

namespace tandrel {

class AuthService;
class PasswordField;
class PlainButton;
class ProminentButton;
class SteadySlot;
class TextField;
class TextLabel;

/// The sign-in form. It starts empty, keeps what was typed after a failed sign-in, and wipes the
/// password when it goes; a sign-in under way ends with it. Main thread.
class LoginView : public QWidget {
    Q_OBJECT
public:
    /// Both must outlive the view.
    LoginView(AuthService& authService, Published<CredentialKeeping>& credentialKeeping,
              const ViewEnvironment& environment, QWidget* parent = nullptr);
    ~LoginView() override;

    /// Both fields hold something, spaces included, and no sign-in is under way.
    [[nodiscard]] bool canSubmit() const;
    /// Signs in with what stands in the fields, exactly as it stands; nothing happens unless
    /// `canSubmit()`.
    void submit();
    /// Wipes the password at once: the view is about to go.
    void wipePassword();

protected:
    void hideEvent(QHideEvent* event) override;

private:
    [[nodiscard]] QWidget* makeHeader();
    [[nodiscard]] QWidget* makeForm();
    [[nodiscard]] QWidget* makePasswordRow();
    [[nodiscard]] QWidget* makeFooter();

    void toggleShowPassword();
    void showPasswordToggle();
    void showError();
    void updateSignInButton();
    void updateKeepingNote();

    AuthService& authService_;
    Published<CredentialKeeping>& credentialKeeping_;
    const ViewEnvironment environment_;

    TextField* email_ = nullptr;
    PasswordField* password_ = nullptr;
    PlainButton* visibility_ = nullptr;
    SteadySlot* errorSlot_ = nullptr;
    TextLabel* error_ = nullptr;
    ProminentButton* signIn_ = nullptr;
    TextLabel* keepingNote_ = nullptr;

    Handle login_;
    std::vector<Subscription> subscriptions_;
};

} // namespace tandrel
