#pragma once

namespace tandrel {

class CachedCredentialStore;
class QtStreamSocket;
class SettingsUserDefaults;

/// For the program's end, once everything has been told to stop: waits until connections are closed
/// and changes are stored, each within a limit that leaves the whole below the two seconds that a
/// user waits. Says on standard error what was not done in time. `settings` may be null.
void settleBeforeLeaving(QtStreamSocket& socket, SettingsUserDefaults* settings,
                         CachedCredentialStore& credentials);

} // namespace tandrel
