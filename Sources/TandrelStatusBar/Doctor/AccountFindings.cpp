#include "Doctor/AccountFindings.h"

namespace tandrel::doctor {

namespace {

constexpr int unauthorized = 401;

bool isSuccess(int status) {
    return status >= 200 && status < 300;
}

} // namespace

Finding backendFinding(const HttpOutcome& outcome, std::chrono::milliseconds duration) {
    Finding finding{"backend", "Backend", Mark::failed, {}};
    if (!outcome) {
        finding.text = outcome.error().description;
        return finding;
    }
    const int status = outcome.value().statusCode;
    finding.facts = {{"status", std::int64_t{status}},
                     {"milliseconds", std::int64_t{duration.count()}}};
    if (status == unauthorized) {
        finding.mark = Mark::ok;
        finding.text = "answers after " + std::to_string(duration.count()) + " ms";
    } else if (status >= 500) {
        finding.text = "does not work at the moment (HTTP " + std::to_string(status) + ')';
    } else {
        // Such as the page of a network that wants one to sign in first.
        finding.text = "something else answers in its place (HTTP " + std::to_string(status) + ')';
    }
    return finding;
}

Finding certificateFinding(const CertificateLook& look) {
    Finding finding{"certificate", "Certificate", Mark::ok, {}};
    if (!look.isUsed) {
        finding.mark = Mark::noted;
        finding.text = "none: plain HTTP, within this machine";
        return finding;
    }
    if (!look.issuer.empty()) {
        finding.text = "issued by " + look.issuer + ", valid until " + look.validUntil;
        finding.facts = {{"issuer", look.issuer}, {"valid_until", look.validUntil}};
    }
    if (!look.error.empty()) {
        finding.mark = Mark::failed;
        finding.text = finding.text.empty() ? "not seen: " + look.error
                                            : look.error + " (" + finding.text + ')';
        finding.facts.emplace_back("error", look.error);
    }
    if (!look.proxy.empty()) {
        finding.text += ", through the proxy " + look.proxy;
        finding.facts.emplace_back("proxy", look.proxy);
    }
    return finding;
}

Finding keyringFinding(const KeyringLook& look) {
    using State = KeyringLook::State;
    Finding finding{"keyring", "Keyring", Mark::noted, {}};
    const auto say = [&finding](const char* state, const char* text) {
        finding.text = text;
        finding.facts = {{"state", std::string(state)}};
    };
    switch (look.state) {
    case State::unreachable:
        say("unreachable", "none can be reached: a sign-in lasts until the program ends");
        break;
    case State::missing:
        say("missing", "there is a service, but no keyring yet");
        break;
    case State::locked:
        say("locked", "locked: you are asked for its password when it is needed");
        break;
    case State::unlocked:
        say("unlocked", "unlocked");
        finding.mark = Mark::ok;
        break;
    }
    return finding;
}

Finding signInFinding(const KeyringLook& keyring, bool hasProfile,
                      const std::optional<HttpOutcome>& validation) {
    Finding finding{"sign_in",
                    "Sign-in",
                    Mark::failed,
                    {},
                    {{"stored", keyring.hasItem}, {"profile", hasProfile}}};
    if (keyring.state == KeyringLook::State::unreachable) {
        finding.text = "cannot be told without a keyring";
    } else if (!keyring.hasItem) {
        finding.text = "nobody is signed in";
    } else if (!keyring.value) {
        finding.text = "stored, but the keyring is locked";
    } else if (!hasProfile) {
        finding.text = "stored, but the profile is missing: sign in again";
    } else if (!validation) {
        finding.text = "stored, but not tried";
    } else if (!*validation) {
        finding.text = "stored, but could not be tried: " + validation->error().description;
    } else if (const int status = validation->value().statusCode; isSuccess(status)) {
        finding.mark = Mark::ok;
        finding.text = "the backend accepts it";
        finding.facts.emplace_back("accepted", true);
    } else if (status == unauthorized) {
        finding.text = "the backend refuses it: sign in again";
        finding.facts.emplace_back("accepted", false);
    } else {
        finding.text = "stored, but could not be tried (HTTP " + std::to_string(status) + ')';
    }
    return finding;
}

} // namespace tandrel::doctor
