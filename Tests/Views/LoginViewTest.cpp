#include "Views/LoginView.h"

#include "Support/Widgets/Rendering.h"
#include "Support/Widgets/ViewTree.h"
#include "Views/ContentFixture.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/ProminentButton.h"
#include "Views/Controls/TextLabel.h"

#include <QLineEdit>
#include <QTest>

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

namespace tandrel {
namespace {

using test::button;
using test::named;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class LoginViewTest : public test::ContentFixture {
protected:
    LoginViewTest() {
        view->setFixedWidth(roundedPixels(320));
        test::showAndWait(*view);
    }

    [[nodiscard]] QLineEdit& email() { return field("Email"); }
    [[nodiscard]] QLineEdit& password() { return field("Password"); }
    [[nodiscard]] ProminentButton& signInButton() { return *view->findChild<ProminentButton*>(); }
    void type(const char* emailText, const char* passwordText) {
        email().setText(QString::fromUtf8(emailText));
        password().setText(QString::fromUtf8(passwordText));
    }
    [[nodiscard]] std::size_t requests() { return outside.backend.transport.requests().size(); }

    std::unique_ptr<LoginView> view = std::make_unique<LoginView>(
        controller.authService(), controller.credentialKeeping, environment);

private:
    QLineEdit& field(const char* name) { return *qobject_cast<QLineEdit*>(named(*view, name)); }
};

// What is shown

TEST_F(LoginViewTest, ShowsItsElementsFromTopToBottom) {
    EXPECT_THAT(test::shownElements(*view),
                ElementsAre("Quorvane Tandrel", "Sign in to connect to your interviews",
                            "<Divider>", "Email", "Password", "<Show password>", "Sign In",
                            "<Divider>", "Forgot password?", "Privacy"));
    EXPECT_THAT(test::clippedParts(*view), IsEmpty());
}

TEST_F(LoginViewTest, ShowsTheErrorAboveTheButton) {
    auth().error.set("Invalid email or password");
    EXPECT_THAT(test::shownElements(*view),
                ElementsAre("Quorvane Tandrel", "Sign in to connect to your interviews",
                            "<Divider>", "Email", "Password", "<Show password>",
                            "Invalid email or password", "Sign In", "<Divider>", "Forgot password?",
                            "Privacy"));
}

TEST_F(LoginViewTest, KeepsToTheGrid) {
    const auto top = [this](QWidget* widget) { return widget->mapTo(view.get(), QPoint()).y(); };
    const auto bottom = [top](QWidget* widget) { return top(widget) + widget->height(); };
    const int width = view->width();
    QWidget* const emailField = named(*view, "Email");
    QWidget* const passwordField = named(*view, "Password");
    EXPECT_EQ(emailField->mapTo(view.get(), QPoint()).x(), roundedPixels(16));
    EXPECT_EQ(emailField->width(), width - 2 * roundedPixels(16));
    EXPECT_EQ(signInButton().width(), emailField->width());
    EXPECT_EQ(top(passwordField) - bottom(emailField), roundedPixels(12));
    EXPECT_EQ(top(&signInButton()) - bottom(passwordField), roundedPixels(12));
    const QWidget* const image = view->findChild<QWidget*>(QStringLiteral("applicationImage"));
    EXPECT_EQ(image->size(), QSize(roundedPixels(48), roundedPixels(48)));
    EXPECT_EQ(image->mapTo(view.get(), QPoint()).y(), roundedPixels(20));
}

TEST_F(LoginViewTest, WrapsALongErrorInRed) {
    const int before = view->sizeHint().height();
    auth().error.set("Network error: the connection to the server was refused, and so was the one "
                     "after it, so check the network");
    test::settle();
    const auto* label = qobject_cast<TextLabel*>(
        named(*view, "Network error: the connection to the server was refused, and so was the one "
                     "after it, so check the network"));
    ASSERT_NE(label, nullptr);
    EXPECT_EQ(label->role(), ColorRole::red);
    EXPECT_TRUE(label->toolTip().isEmpty()) << "nothing is cut off";
    EXPECT_GT(label->heightForWidth(label->width()), QFontMetrics(label->font()).height());
    EXPECT_GT(view->heightForWidth(view->width()), before);
}

TEST_F(LoginViewTest, KeepsTheErrorsRoomWhileTheNextAttemptRuns) {
    type("a", "b");
    auth().error.set("Invalid email or password");
    test::settle();
    const int withError = view->heightForWidth(view->width());
    view->submit();
    test::settle();
    EXPECT_FALSE(test::hasNamed(*view, "Invalid email or password"));
    EXPECT_EQ(view->heightForWidth(view->width()), withError);
}

TEST_F(LoginViewTest, TakesTheErrorAsPlainText) {
    auth().error.set("<b>bold</b>");
    EXPECT_TRUE(test::hasNamed(*view, "<b>bold</b>"));
}

// Whether it will be remembered

class KeepingNote : public LoginViewTest {
protected:
    static constexpr const char* note = "No keyring: this sign-in will not be remembered.";

    void learn(CredentialKeeping keeping) {
        controller.credentialKeeping.set(keeping);
        test::settle();
    }
    void reopen() {
        view->hide();
        view->show();
        test::settle();
    }
    [[nodiscard]] bool showsNote() { return test::hasNamed(*view, note); }
    /// Where everything below the fields is, and how high the form wants to be.
    [[nodiscard]] std::vector<int> places() {
        std::vector<int> all{view->heightForWidth(view->width())};
        for (const char* name : {"Sign In", "Forgot password?", "Privacy"}) {
            all.push_back(button(*view, name)->mapTo(view.get(), QPoint()).y());
        }
        return all;
    }
};

TEST_F(KeepingNote, IsShownBelowTheButtonWhereThereIsNoKeyring) {
    view->hide();
    learn(CredentialKeeping::notKept);
    reopen();
    EXPECT_THAT(test::shownElements(*view),
                ElementsAre("Quorvane Tandrel", "Sign in to connect to your interviews",
                            "<Divider>", "Email", "Password", "<Show password>", "Sign In", note,
                            "<Divider>", "Forgot password?", "Privacy"));
    EXPECT_THAT(test::clippedParts(*view), IsEmpty());
    EXPECT_EQ(qobject_cast<TextLabel*>(named(*view, note))->role(), ColorRole::secondary);
}

TEST_F(KeepingNote, TakesNoRoomWhereThereIsAKeyring) {
    const auto before = places();
    learn(CredentialKeeping::kept);
    reopen();
    EXPECT_EQ(places(), before);
    learn(CredentialKeeping::notKept);
    reopen();
    EXPECT_GT(places().front(), before.front());
}

TEST_F(KeepingNote, MovesNothingWhenItComes) {
    learn(CredentialKeeping::unknown);
    reopen();
    EXPECT_FALSE(showsNote());
    const auto before = places();
    learn(CredentialKeeping::notKept);
    EXPECT_TRUE(showsNote());
    EXPECT_EQ(places(), before);
}

TEST_F(KeepingNote, MovesNothingWhenItGoesAndLeavesItsRoomWithTheNextOpening) {
    learn(CredentialKeeping::notKept);
    reopen();
    const auto before = places();
    learn(CredentialKeeping::kept);
    EXPECT_FALSE(showsNote());
    EXPECT_EQ(places(), before);
    reopen();
    EXPECT_LT(places().front(), before.front());
}

TEST_F(KeepingNote, WaitsForTheNextOpeningWhereNoRoomWasKept) {
    const auto before = places();
    learn(CredentialKeeping::notKept);
    EXPECT_FALSE(showsNote());
    EXPECT_EQ(places(), before);
    reopen();
    EXPECT_TRUE(showsNote());
}

// What may be submitted

TEST_F(LoginViewTest, CanBeSubmittedOnceBothFieldsHoldSomething) {
    const struct {
        const char* email;
        const char* password;
        bool expected;
    } cases[] = {
        {"", "", false}, {"a", "", false}, {"", "b", false}, {"a", "b", true}, {" ", " ", true}};
    for (const auto& [emailText, passwordText, expected] : cases) {
        type(emailText, passwordText);
        EXPECT_EQ(view->canSubmit(), expected);
        EXPECT_EQ(signInButton().isEnabled(), expected);
    }
}

TEST_F(LoginViewTest, SendsWhatWasTypedUntrimmed) {
    type(" ada@example.org ", "  pass word ");
    button(*view, "Sign In")->click();
    ASSERT_EQ(requests(), 1U);
    const std::string body = outside.backend.transport.lastRequest().body.value();
    EXPECT_THAT(body, HasSubstr(R"(" ada@example.org ")"));
    EXPECT_THAT(body, HasSubstr(R"("  pass word ")"));
}

TEST_F(LoginViewTest, SubmitsOnReturnInEitherField) {
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter}) {
        for (const bool inEmail : {true, false}) {
            const std::size_t before = requests();
            type("a", "b");
            QTest::keyClick(inEmail ? &email() : &password(), key);
            EXPECT_EQ(requests(), before + 1);
            outside.backend.transport.answer(401, "{}");
        }
    }
}

TEST_F(LoginViewTest, DoesNothingOnReturnWithAnEmptyField) {
    type("a", "");
    QTest::keyClick(&email(), Qt::Key_Return);
    type("", "b");
    QTest::keyClick(&password(), Qt::Key_Return);
    EXPECT_EQ(requests(), 0U);
}

// While a sign-in runs

TEST_F(LoginViewTest, ShowsProgressAndTakesNoSecondAttemptWhileLoading) {
    type("a", "b");
    view->submit();
    EXPECT_TRUE(signInButton().isBusy());
    EXPECT_FALSE(signInButton().isEnabled());
    QTest::keyClick(&email(), Qt::Key_Return);
    QTest::keyClick(&password(), Qt::Key_Return);
    signInButton().click();
    view->submit();
    EXPECT_EQ(requests(), 1U);
}

TEST_F(LoginViewTest, KeepsTheFieldsAfterAFailure) {
    type("ada@example.org", "wrong");
    view->submit();
    outside.backend.transport.answer(401, "{}");
    EXPECT_TRUE(test::hasNamed(*view, "Invalid email or password"));
    EXPECT_EQ(email().text(), QStringLiteral("ada@example.org"));
    EXPECT_EQ(password().text(), QStringLiteral("wrong"));
    EXPECT_FALSE(signInButton().isBusy());
    EXPECT_TRUE(signInButton().isEnabled());
}

TEST_F(LoginViewTest, EndsItsSignInWhenItGoes) {
    type("a", "b");
    view->submit();
    view.reset();
    EXPECT_FALSE(auth().isLoading.value());
    EXPECT_EQ(outside.backend.transport.pendingCount(), 0U);
}

// The password

TEST_F(LoginViewTest, TogglesThePasswordsVisibility) {
    type("a", "secret");
    password().setCursorPosition(2);
    button(*view, "Show password")->click();
    EXPECT_EQ(password().echoMode(), QLineEdit::Normal);
    EXPECT_EQ(button(*view, "Hide password")->toolTip(), QStringLiteral("Hide password"));
    EXPECT_EQ(password().text(), QStringLiteral("secret"));
    EXPECT_EQ(password().cursorPosition(), 2);
    button(*view, "Hide password")->click();
    EXPECT_EQ(password().echoMode(), QLineEdit::Password);
    EXPECT_EQ(password().cursorPosition(), 2);
    EXPECT_TRUE(test::hasNamed(*view, "Show password"));
}

TEST_F(LoginViewTest, LeavesTheCursorInTheFieldWhenVisibilityIsClicked) {
    password().setFocus();
    QTest::mouseClick(button(*view, "Show password"), Qt::LeftButton);
    EXPECT_EQ(test::focusedName(*view), "Password");
    EXPECT_EQ(password().echoMode(), QLineEdit::Normal);
}

TEST_F(LoginViewTest, WipesThePasswordWhenItIsToldAndWhenItGoes) {
    QTest::keyClicks(&password(), QStringLiteral("secret"));
    const QString told = password().text();
    view->wipePassword();
    EXPECT_EQ(told, QString(6, u'\0'));
    QTest::keyClicks(&password(), QStringLiteral("again"));
    const QString gone = password().text();
    view.reset();
    EXPECT_EQ(gone, QString(5, u'\0'));
}

// The keyboard

TEST_F(LoginViewTest, BeginsInTheEmailField) {
    view->setFocus();
    EXPECT_EQ(test::focusedName(*view), "Email");
}

TEST_F(LoginViewTest, IsWalkedInReadingOrder) {
    type("a", "b");
    password().setFocus();
    EXPECT_THAT(test::tabOrder(*view), ElementsAre("Password", "Show password", "Sign In",
                                                   "Forgot password?", "Privacy", "Email"));
}

TEST_F(LoginViewTest, IsOperatedByTheKeyboard) {
    type("a", "b");
    QTest::keyClick(button(*view, "Show password"), Qt::Key_Space);
    EXPECT_EQ(password().echoMode(), QLineEdit::Normal);
    QTest::keyClick(button(*view, "Forgot password?"), Qt::Key_Return);
    EXPECT_THAT(browser.opened, ElementsAre("https://app.test/auth/reset-password"));
    QTest::keyClick(button(*view, "Sign In"), Qt::Key_Return);
    EXPECT_EQ(requests(), 1U);
}

TEST_F(LoginViewTest, PutsTheFocusOnThePasswordWhenItsButtonCannotKeepIt) {
    type("a", "b");
    signInButton().setFocus();
    QTest::keyClick(&signInButton(), Qt::Key_Space);
    EXPECT_EQ(requests(), 1U);
    EXPECT_EQ(test::focusedName(*view), "Password");
}

TEST_F(LoginViewTest, TellsInputMethodsWhatTheEmailFieldIsFor) {
    const Qt::InputMethodHints hints = email().inputMethodHints();
    EXPECT_TRUE(hints & Qt::ImhEmailCharactersOnly);
    EXPECT_TRUE(hints & Qt::ImhNoAutoUppercase);
    EXPECT_TRUE(hints & Qt::ImhNoPredictiveText);
}

// The links

TEST_F(LoginViewTest, OpensTheLinksInTheBrowser) {
    button(*view, "Forgot password?")->click();
    button(*view, "Privacy")->click();
    EXPECT_THAT(browser.opened, ElementsAre("https://app.test/auth/reset-password",
                                            "https://www.test/privacy-policy"));
}

} // namespace
} // namespace tandrel
