#include "StreamStory.h"

#include <chrono>

namespace tandrel::test {

namespace {

using namespace std::chrono_literals;
using Kind = SessionState::Kind;

constexpr int attempts = 3;
/// Longer than a keyring is waited for.
constexpr Clock::Duration startLimit = 35s;
/// Longer than a request may take.
constexpr Clock::Duration signInLimit = 20s;
constexpr Clock::Duration findLimit = 12s;
/// Longer than a stream's start may take.
constexpr Clock::Duration streamLimit = 14s;
/// Longer than all reconnections together.
constexpr Clock::Duration reconnectLimit = 45s;
constexpr Clock::Duration endLimit = 5s;

constexpr Clock::Duration afterSignOut = 10s;
constexpr Clock::Duration afterFailure = 20s;

/// Something else each second, so that it does not fall on a step of anything else.
constexpr Clock::Duration moment = 700ms;

} // namespace

std::vector<std::string> StreamStory::tell() {
    world_.storeSignIn();
    world_.startProgram();
    bool isRestored = false;
    const Subscription seen = world_.auth().isAuthenticated.onChange(
        [&isRestored](bool isSignedIn) { isRestored = isRestored || isSignedIn; });
    world_.program().appear();
    world_.passUntil([&isRestored] { return isRestored; }, startLimit);
    world_.pass(moment);
    signOut();
    // A late answer may still come.
    world_.pass(afterSignOut);
    world_.checkNothingIsLeft();

    std::vector<std::string> missed;
    const auto chapter = [&missed](bool went, const char* name) {
        if (!went) {
            missed.emplace_back(name);
        }
        return went;
    };
    chapter(isRestored, "restore");
    chapter(signIn(), "sign in");
    world_.credentials.comeBack();
    world_.program().credentialStoreAppeared();
    world_.pass(moment);
    chapter(signIn() && world_.isSignInKept(), "keep the sign-in");
    chapter(stream(), "stream");
    if (!chapter(recover(), "get the microphone back")) {
        chapter(stream(), "stream after that");
    }
    chapter(reconnect() || stream(), "reconnect");
    chapter(endByServer(), "end by the server");
    chapter(stream(), "stream again");
    chapter(stop(), "stop");
    chapter(stream(), "stream until the sign-out");
    signOut();
    world_.backend.setSession(false);
    world_.pass(1min);
    world_.checkNothingIsLeft();
    world_.endProgram();

    // The next start finds nobody.
    world_.startProgram();
    world_.program().appear();
    world_.pass(startLimit);
    chapter(!world_.auth().isAuthenticated.value(), "stay signed out");
    world_.endProgram();
    return missed;
}

bool StreamStory::signIn() {
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (world_.auth().isAuthenticated.value()) {
            return true;
        }
        login_ = world_.auth().login(StreamBackend::email, StreamBackend::password);
        world_.passUntil([this] { return !world_.auth().isLoading.value(); }, signInLimit);
        // Whoever has waited for so long closes the form.
        login_.reset();
        // Long enough for the first poll, which may be refused.
        world_.pass(moment);
    }
    return world_.auth().isAuthenticated.value();
}

void StreamStory::signOut() {
    if (world_.auth().isAuthenticated.value()) {
        world_.auth().logout();
    }
    world_.pass(moment);
}

bool StreamStory::findSession() {
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (!signIn()) {
            return false;
        }
        world_.backend.setSession(true);
        if (world_.passUntil([this] { return world_.sessionKind() == Kind::sessionFound; },
                             findLimit)) {
            return true;
        }
        signOut();
    }
    return false;
}

bool StreamStory::isStreamed() {
    const std::size_t before = world_.receivedCount();
    return world_.passUntil(
               [this, before] {
                   return world_.receivedCount() > before + 3 ||
                          world_.sessionKind() != Kind::streaming;
               },
               streamLimit) &&
           world_.sessionKind() == Kind::streaming;
}

bool StreamStory::stream() {
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (!findSession()) {
            return false;
        }
        world_.panel()->appear();
        const TandrelSessionResponse session = *world_.session().state.value().session();
        world_.panel()->startStreaming(session);
        if (isStreamed()) {
            return true;
        }
        stop();
        // What comes late comes to somebody who has stopped.
        world_.pass(afterFailure);
    }
    return false;
}

bool StreamStory::recover() {
    if (world_.sessionKind() != Kind::streaming) {
        return false;
    }
    world_.unplug();
    if (isStreamed()) {
        return true;
    }
    stop();
    return false;
}

bool StreamStory::reconnect() {
    if (world_.sessionKind() != Kind::streaming) {
        return false;
    }
    world_.loseConnection();
    const std::size_t before = world_.receivedCount();
    world_.passUntil(
        [this, before] {
            return world_.receivedCount() > before || world_.sessionKind() != Kind::streaming;
        },
        reconnectLimit);
    if (world_.receivedCount() > before) {
        return true;
    }
    stop();
    return false;
}

bool StreamStory::endByServer() {
    if (world_.sessionKind() != Kind::streaming) {
        return false;
    }
    world_.backend.setSession(false);
    constexpr int sessionNoLongerPending = 4002;
    world_.loseConnection(sessionNoLongerPending);
    if (!world_.passUntil([this] { return world_.sessionKind() != Kind::streaming; },
                          reconnectLimit)) {
        stop();
    }
    return hasEnded();
}

bool StreamStory::hasEnded() {
    // The search may be refused at once, which ends it.
    return world_.passUntil(
        [this] {
            return world_.sessionKind() == Kind::polling || world_.sessionKind() == Kind::idle;
        },
        endLimit);
}

bool StreamStory::stop() {
    if (world_.sessionKind() == Kind::streaming && world_.panel() != nullptr) {
        world_.panel()->stopStreaming();
    }
    world_.backend.setSession(false);
    return hasEnded();
}

} // namespace tandrel::test
