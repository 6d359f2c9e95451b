#include "Support/Desktop/KeyringPrompter.h"

#include "Support/Desktop/PrivateDesktop.h"
#include "Support/PrivateKeyring.h"

namespace tandrel::test {

namespace {

EnvironmentChanges environment(const PrivateDesktop& desktop) {
    EnvironmentChanges changes = desktop.clientEnvironment();
    changes["NO_AT_BRIDGE"] = "1"; // it is no part of what is looked at
    changes["GSETTINGS_BACKEND"] = "memory";
    return changes;
}

} // namespace

KeyringPrompter::KeyringPrompter(const PrivateDesktop& desktop)
    : desktop_(desktop)
    , process_({"/usr/libexec/gcr-prompter"}, environment(desktop),
               desktop.folder() / "prompter.log") {
    desktop_.bus().awaitOwner("org.gnome.keyring.SystemPrompter");
}

bool KeyringPrompter::awaitQuestion() const {
    return desktop_.display().awaitWindow("Unlock Login Keyring");
}

void KeyringPrompter::unlock() const {
    desktop_.input().type(PrivateKeyring::password);
    desktop_.input().press({"Return"});
}

void KeyringPrompter::dismiss() const {
    desktop_.input().press({"Escape"});
}

} // namespace tandrel::test
