#include "Views/LoginView.h"

#include "Platform/UrlOpener.h"
#include "Services/AuthService.h"
#include "Views/ApplicationImageView.h"
#include "Views/Controls/Divider.h"
#include "Views/Controls/PlainButton.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/ProminentButton.h"
#include "Views/Controls/TextField.h"
#include "Views/Controls/TextLabel.h"
#include "Views/InPoints.h"
#include "Views/PasswordField.h"
#include "Views/Secret.h"
#include "Views/SteadySlot.h"

#include <QHBoxLayout>
#include <QHideEvent>
#include <QSizePolicy>
#include <QVBoxLayout>

#include <string>

namespace tandrel {

namespace {

/// The error is the backend's own words; more than this is no message for people.
constexpr int maxErrorLines = 8;

} // namespace

LoginView::LoginView(AuthService& authService, Published<CredentialKeeping>& credentialKeeping,
                     const ViewEnvironment& environment, QWidget* parent)
    : QWidget(parent)
    , authService_(authService)
    , credentialKeeping_(credentialKeeping)
    , environment_(environment) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins({});
    column->setSpacing(0);
    column->addWidget(makeHeader());
    column->addWidget(new Divider);
    column->addWidget(makeForm());
    column->addWidget(new Divider);
    column->addWidget(makeFooter());
    setFocusProxy(email_);

    subscriptions_.push_back(
        authService_.isLoading.observe([this](bool /*isLoading*/) { updateSignInButton(); }));
    subscriptions_.push_back(
        authService_.error.observe([this](const auto& /*error*/) { showError(); }));
    subscriptions_.push_back(credentialKeeping_.onChange(
        [this](CredentialKeeping /*keeping*/) { updateKeepingNote(); }));
    showPasswordToggle();
    showError();
    updateSignInButton();
    updateKeepingNote();
}

LoginView::~LoginView() = default;

QWidget* LoginView::makeHeader() {
    auto* header = new QWidget;
    auto* column = new QVBoxLayout(header);
    auto* image = new ApplicationImageView(48);
    image->setObjectName(QStringLiteral("applicationImage"));
    auto* title =
        new TextLabel(QStringLiteral("Quorvane Tandrel"), 13, ColorRole::primary, QFont::Medium);
    auto* subtitle = new TextLabel(QStringLiteral("Sign in to connect to your interviews"), 11,
                                   ColorRole::secondary);
    subtitle->setMaximumLines(0); // large fonts need more than one
    for (TextLabel* label : {title, subtitle}) {
        label->setAlignment(Qt::AlignHCenter | Qt::AlignVCenter);
    }
    column->addWidget(image, 0, Qt::AlignHCenter);
    column->addWidget(title);
    column->addWidget(subtitle);
    applyInPoints(*header, [column] {
        const int side = roundedPixels(16);
        column->setContentsMargins(side, roundedPixels(20), side, roundedPixels(16));
        column->setSpacing(roundedPixels(6));
    });
    return header;
}

QWidget* LoginView::makeForm() {
    auto* form = new QWidget;
    auto* column = new QVBoxLayout(form);

    email_ = new TextField(QStringLiteral("Email"));
    email_->setInputMethodHints(Qt::ImhEmailCharactersOnly | Qt::ImhNoAutoUppercase |
                                Qt::ImhNoPredictiveText);
    column->addWidget(email_);
    column->addWidget(makePasswordRow());

    errorSlot_ = new SteadySlot;
    error_ = new TextLabel({}, 11, ColorRole::red);
    error_->setMaximumLines(maxErrorLines);
    errorSlot_->add(*error_);
    column->addWidget(errorSlot_);

    signIn_ = new ProminentButton(QStringLiteral("Sign In"));
    column->addWidget(signIn_);

    keepingNote_ = new TextLabel(QStringLiteral("No keyring: this sign-in will not be remembered."),
                                 11, ColorRole::secondary);
    keepingNote_->setMaximumLines(0);
    keepingNote_->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    column->addWidget(keepingNote_);

    for (TextField* field : {email_, static_cast<TextField*>(password_)}) {
        connect(field, &QLineEdit::textChanged, this, &LoginView::updateSignInButton);
        connect(field, &QLineEdit::returnPressed, this, &LoginView::submit);
    }
    connect(signIn_, &QAbstractButton::clicked, this, &LoginView::submit);

    applyInPoints(*form, [column] {
        const int side = roundedPixels(16);
        column->setContentsMargins(side, side, side, side);
        column->setSpacing(roundedPixels(12));
    });
    return form;
}

QWidget* LoginView::makePasswordRow() {
    auto* passwordRow = new QWidget;
    auto* row = new QHBoxLayout(passwordRow);
    row->setContentsMargins({});
    password_ = new PasswordField(QStringLiteral("Password"));
    visibility_ = new PlainButton({}, 13, ColorRole::secondary);
    // A click leaves the cursor in the field.
    visibility_->setFocusPolicy(Qt::TabFocus);
    row->addWidget(password_, 1);
    row->addWidget(visibility_);
    connect(visibility_, &QAbstractButton::clicked, this, &LoginView::toggleShowPassword);
    applyInPoints(*passwordRow, [row] { row->setSpacing(roundedPixels(8)); });
    return passwordRow;
}

QWidget* LoginView::makeFooter() {
    auto* footer = new QWidget;
    auto* row = new QHBoxLayout(footer);
    auto* forgot = new PlainButton(QStringLiteral("Forgot password?"), 11, ColorRole::secondary);
    auto* privacy = new PlainButton(QStringLiteral("Privacy"), 11, ColorRole::secondary);
    row->addWidget(forgot);
    row->addStretch(1);
    row->addWidget(privacy);
    connect(forgot, &QAbstractButton::clicked, this, [this] {
        environment_.urlOpener.open(environment_.webAppBaseURL + "/auth/reset-password");
    });
    connect(privacy, &QAbstractButton::clicked, this,
            [this] { environment_.urlOpener.open(environment_.siteBaseURL + "/privacy-policy"); });
    applyInPoints(*footer, [row] {
        row->setContentsMargins(roundedPixels(16), roundedPixels(8), roundedPixels(16),
                                roundedPixels(8));
    });
    return footer;
}

bool LoginView::canSubmit() const {
    return !email_->text().isEmpty() && !password_->text().isEmpty() &&
           !authService_.isLoading.value();
}

void LoginView::submit() {
    if (!canSubmit()) {
        return;
    }
    login_ = authService_.login(email_->text().toStdString(), secretUtf8(password_->text()));
}

void LoginView::wipePassword() {
    password_->wipe();
}

void LoginView::toggleShowPassword() {
    password_->setShown(!password_->isShown());
    showPasswordToggle();
}

void LoginView::showPasswordToggle() {
    const bool shown = password_->isShown();
    const QString name = shown ? QStringLiteral("Hide password") : QStringLiteral("Show password");
    visibility_->setLeadingSymbol(shown ? Symbol::eyeSlash : Symbol::eye, 13);
    visibility_->setAccessibleName(name);
    visibility_->setToolTip(name);
}

void LoginView::showError() {
    const auto& error = authService_.error.value();
    if (error) {
        error_->setText(QString::fromStdString(*error));
    }
    errorSlot_->setContent(error ? error_ : nullptr);
}

void LoginView::updateSignInButton() {
    const bool enabled = canSubmit();
    if (!enabled && window()->focusWidget() == signIn_) {
        // Qt would move on to the link below, where Return leaves the form.
        password_->setFocus();
    }
    signIn_->setBusy(authService_.isLoading.value());
    signIn_->setEnabled(enabled);
}

void LoginView::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    updateKeepingNote();
}

void LoginView::updateKeepingNote() {
    const CredentialKeeping keeping = credentialKeeping_.value();
    QSizePolicy policy = keepingNote_->sizePolicy();
    if (!isVisible()) {
        // Decided before the form is seen: nothing in it moves when the news comes.
        policy.setRetainSizeWhenHidden(keeping != CredentialKeeping::kept);
        keepingNote_->setSizePolicy(policy);
    }
    keepingNote_->setVisible(keeping == CredentialKeeping::notKept &&
                             policy.retainSizeWhenHidden());
}

} // namespace tandrel
