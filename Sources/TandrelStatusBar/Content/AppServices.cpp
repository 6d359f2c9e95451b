#include "Content/AppServices.h"

#include "Platform/GLib/PrivacySwitch.h"
#include "Platform/Qt/Departure.h"
#include "Platform/SecretService/SecretServiceStore.h"

#include <functional>
#include <memory>
#include <utility>

namespace tandrel {

AppServices::AppServices(const std::string& backendBaseURL, AppState& appState, Clock& clock)
    : socket_(mainQueue_)
    , audioInput_(mainQueue_)
    , permission_(mainQueue_, clock, isMicrophoneSwitchedOff)
    , credentials_(std::make_unique<SecretServiceStore>(), mainQueue_)
    , keychain_(credentials_)
    , apiClient_(backendBaseURL, transport_, keychain_, clock)
    , audioService_(audioInput_, permission_, mainQueue_)
    , content_({apiClient_, audioService_, keychain_, settings_, socket_, appState, clock},
               [this](CachedCredentialStore::LoadCompletion done) {
                   return credentials_.load(KeychainService::items(), std::move(done));
               }) {}

AppServices::~AppServices() = default;

void AppServices::keyringChanged(bool isThere) {
    content_.credentialKeeping.set(isThere ? CredentialKeeping::kept : CredentialKeeping::notKept);
}

void AppServices::keyringAppeared() {
    credentials_.writeAgain();
    content_.credentialStoreAppeared();
}

void AppServices::shutDown() {
    content_.shutdown();
    settleBeforeLeaving(socket_, &settings_, credentials_);
}

} // namespace tandrel
