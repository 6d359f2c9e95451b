#include "Views/PasswordField.h"

#include "Views/Secret.h"

#include <QSignalBlocker>

namespace tandrel {

PasswordField::PasswordField(const QString& placeholder, QWidget* parent)
    : TextField(placeholder, parent) {
    setShown(false);
}

PasswordField::~PasswordField() {
    const QSignalBlocker quiet(this); // who listens may be half gone
    wipe();
}

void PasswordField::setShown(bool shown) {
    setEchoMode(shown ? Normal : Password);
    // Qt takes these away with the mask, but an input method has nothing to learn here either way.
    setInputMethodHints(inputMethodHints() | Qt::ImhSensitiveData | Qt::ImhNoPredictiveText |
                        Qt::ImhNoAutoUppercase);
}

void PasswordField::wipe() {
    const bool wasShown = isShown();
    // First: these are the field's own characters, which a change of the echo mode may copy.
    QString shared = text();
    tandrel::wipe(shared);
    setEchoMode(Password);
    setText({});
    setShown(wasShown);
}

} // namespace tandrel
