#pragma once

#include "Views/Controls/TextField.h"
#include "Views/MaskedTextEvents.h"

namespace tandrel {

/// A field for a password, masked unless it is told to show it.
class PasswordField : public TextField {
    Q_OBJECT
public:
    explicit PasswordField(const QString& placeholder, QWidget* parent = nullptr);
    /// Wipes.
    ~PasswordField() override;

    /// Shows or masks the text, and leaves it, the cursor and the selection as they are.
    void setShown(bool shown);
    [[nodiscard]] bool isShown() const { return echoMode() == Normal; }

    /// Empties the field, overwrites the characters in memory and forgets what could be undone.
    /// Out of reach remain what Qt held on the way here: the key events, the characters in the
    /// list of what could be undone, the buffers that the text outgrew, and the line as it was
    /// drawn while shown.
    void wipe();

private:
    MaskedTextEvents maskedEvents_;
};

} // namespace tandrel
