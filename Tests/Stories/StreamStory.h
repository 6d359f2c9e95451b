#pragma once

#include "StreamWorld.h"

#include <string>
#include <vector>

namespace tandrel::test {

/// A day with the program: it finds the last sign-in, its user signs out and in, starts a session,
/// streams, loses the microphone and then the connection, has the session ended by the server,
/// streams the next one, stops, and signs out of one more while it streams. Its user is patient,
/// and tries again what has failed.
class StreamStory {
public:
    explicit StreamStory(StreamWorld& world)
        : world_(world) {}

    /// The chapters that did not come to their end.
    [[nodiscard]] std::vector<std::string> tell();

private:
    bool signIn();
    void signOut();
    bool findSession();
    bool stream();
    bool recover();
    bool reconnect();
    bool endByServer();
    bool stop();
    [[nodiscard]] bool isStreamed();
    [[nodiscard]] bool hasEnded();

    StreamWorld& world_;
    Handle login_;
};

} // namespace tandrel::test
