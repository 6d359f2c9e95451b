#include "Platform/GLib/PrivacySwitch.h"

#include <cstdio>

/// Says what the desktop that its environment leads to has switched: GLib finds out once a process.
int main() {
    std::puts(tandrel::isMicrophoneSwitchedOff() ? "off" : "on");
    return 0;
}
