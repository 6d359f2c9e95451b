#pragma once

namespace tandrel {

/// From now on assistive programs that ask a `PopUpButton` find a combo box with its own accessible
/// name; on Linux, Qt's would give the chosen row's text for the name. May be called again.
void makePopUpButtonReadable();

} // namespace tandrel
