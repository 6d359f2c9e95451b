#include "Views/PasswordField.h"

#include "Support/Widgets/ActiveAccessibility.h"
#include "Support/Widgets/Rendering.h"

#include <QAccessible>
#include <QTest>

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

namespace tandrel {
namespace {

using testing::ElementsAre;

std::vector<std::string> heard;

/// What a program on the accessibility bus is told of changes of text.
void listen(QAccessibleEvent* event) {
    if (event->type() == QAccessible::TextInserted) {
        const auto* inserted = static_cast<QAccessibleTextInsertEvent*>(event);
        heard.push_back("+" + inserted->textInserted().toStdString());
    } else if (event->type() == QAccessible::TextRemoved) {
        const auto* removed = static_cast<QAccessibleTextRemoveEvent*>(event);
        heard.push_back("-" + removed->textRemoved().toStdString());
    } else if (event->type() == QAccessible::TextUpdated) {
        const auto* updated = static_cast<QAccessibleTextUpdateEvent*>(event);
        heard.push_back("-" + updated->textRemoved().toStdString() + "+" +
                        updated->textInserted().toStdString());
    }
}

class PasswordFieldTest : public testing::Test {
protected:
    PasswordFieldTest() {
        heard.clear();
        field_ = std::make_unique<PasswordField>(QStringLiteral("Password"));
        test::showAndWait(*field_);
        heard.clear();
    }

    void type(const char* text) { QTest::keyClicks(field_.get(), QString::fromUtf8(text)); }

    test::ActiveAccessibility accessibility_{listen};
    std::unique_ptr<PasswordField> field_;
};

TEST_F(PasswordFieldTest, MasksUntilToldToShow) {
    type("secret");
    EXPECT_EQ(field_->echoMode(), QLineEdit::Password);
    field_->setShown(true);
    EXPECT_EQ(field_->echoMode(), QLineEdit::Normal);
    field_->setShown(false);
    EXPECT_EQ(field_->echoMode(), QLineEdit::Password);
}

TEST_F(PasswordFieldTest, KeepsTextCursorAndSelectionWhenShownAndMasked) {
    type("secret");
    field_->setSelection(1, 3);
    for (const bool shown : {true, false}) {
        field_->setShown(shown);
        EXPECT_EQ(field_->text(), QStringLiteral("secret"));
        EXPECT_EQ(field_->selectedText(), QStringLiteral("ecr"));
        EXPECT_EQ(field_->cursorPosition(), 4);
    }
}

TEST_F(PasswordFieldTest, TellsInputMethodsToLearnNothing) {
    const Qt::InputMethodHints quiet =
        Qt::ImhSensitiveData | Qt::ImhNoPredictiveText | Qt::ImhNoAutoUppercase;
    EXPECT_EQ(field_->inputMethodHints() & quiet, quiet);
    EXPECT_TRUE(field_->inputMethodHints() & Qt::ImhHiddenText);
    field_->setShown(true);
    EXPECT_EQ(field_->inputMethodHints() & quiet, quiet);
}

TEST_F(PasswordFieldTest, TellsAssistiveTechnologyNoPasswordWhileMasked) {
    type("secret");
    QAccessibleInterface* const interface = QAccessible::queryAccessibleInterface(field_.get());
    EXPECT_TRUE(interface->state().passwordEdit);
    EXPECT_FALSE(interface->text(QAccessible::Value).contains(QStringLiteral("secret")));
    EXPECT_FALSE(interface->textInterface()->text(0, 6).contains(QStringLiteral("ecr")));
    EXPECT_EQ(interface->text(QAccessible::Name), QStringLiteral("Password"));
}

TEST_F(PasswordFieldTest, SpellsOutNoKeyWhileMasked) {
    type("ab");
    QTest::keyClick(field_.get(), Qt::Key_Backspace);
    field_->setText(QString::fromUtf8("xyz"));
    field_->clear();
    EXPECT_THAT(heard, ElementsAre("+*", "+*", "-*", "-*+***", "-***"));
}

TEST_F(PasswordFieldTest, TellsWhatAnybodyCanSeeWhileShown) {
    field_->setShown(true);
    type("ab");
    EXPECT_THAT(heard, ElementsAre("+a", "+b"));
}

TEST_F(PasswordFieldTest, LeavesOtherFieldsAlone) {
    TextField email(QStringLiteral("Email"));
    email.setText(QString::fromUtf8("ada@example.org"));
    EXPECT_THAT(heard, ElementsAre("+ada@example.org"));
}

TEST_F(PasswordFieldTest, ListensOnlyWhileThereIsAField) {
    field_.reset();
    EXPECT_EQ(QAccessible::installUpdateHandler(listen), &listen);
}

TEST_F(PasswordFieldTest, WipesTheCharactersInMemory) {
    type("secret");
    const QString sharing = field_->text();
    field_->wipe();
    EXPECT_TRUE(field_->text().isEmpty());
    EXPECT_EQ(sharing, QString(6, u'\0'));
    EXPECT_FALSE(field_->isUndoAvailable());
    EXPECT_FALSE(field_->isRedoAvailable());
    field_->undo();
    EXPECT_TRUE(field_->text().isEmpty());
}

TEST_F(PasswordFieldTest, WipesWhatIsShown) {
    type("secret");
    field_->setShown(true);
    heard.clear();
    const QString sharing = field_->text();
    field_->wipe();
    EXPECT_EQ(sharing, QString(6, u'\0'));
    EXPECT_TRUE(field_->isShown());
    EXPECT_THAT(heard, ElementsAre("-******"));
}

TEST_F(PasswordFieldTest, WipesWhenItGoes) {
    type("secret");
    const QString sharing = field_->text();
    field_.reset();
    EXPECT_EQ(sharing, QString(6, u'\0'));
}

TEST_F(PasswordFieldTest, CanBeFilledAgainAfterAWipe) {
    type("one");
    field_->wipe();
    type("two");
    EXPECT_EQ(field_->text(), QStringLiteral("two"));
}

} // namespace
} // namespace tandrel
