#pragma once

#include <string>

class QWidget;

namespace tandrel {

/// Gives a shown window the focus, before other programs' windows.
///
/// On X11 it asks as a pager does: a request in the program's own name counts as stealing the focus
/// where the click went to a panel, which is another program.
void activateBeforeOthers(QWidget& window);

/// Keeps the permission to take the focus that whoever asked for the window has handed over, for
/// the next activation; an empty one changes nothing.
void useActivationToken(const std::string& token);

/// The permission that this process was started with; empty when there is none.
[[nodiscard]] std::string activationTokenOfStart();

} // namespace tandrel
