#pragma once

namespace tandrel {

/// Whether the desktop's privacy settings switch microphones off: `disable-microphone` of the
/// settings `org.gnome.desktop.privacy` (gsettings-desktop-schemas). Where there are no such
/// settings, nobody has switched anything off. May block; any thread but the main one.
[[nodiscard]] bool isMicrophoneSwitchedOff();

} // namespace tandrel
