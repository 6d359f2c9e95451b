#include "Services/UpdateService.h"

#include "Foundation/Base64.h"
#include "Services/UpdateAddress.h"
#include "Services/UpdateChoice.h"

#include <chrono>
#include <utility>
#include <vector>

namespace tandrel {

namespace {

/// For the whole feed, whose server might send a byte now and then.
constexpr std::chrono::seconds checkLimit(60);
constexpr std::size_t signatureSize = 64;

HttpRequest getRequest(const std::string& url) {
    HttpRequest request{"GET", url, {}, std::nullopt};
    request.redirects = HttpRedirects::secure;
    return request;
}

/// Those of the item's signatures that may be one.
std::vector<std::string> decodedSignatures(const AppcastItem& item) {
    std::vector<std::string> signatures;
    for (const std::string& text : item.signatures) {
        auto signature = decodeBase64(text);
        if (signature && signature->size() == signatureSize) {
            signatures.push_back(std::move(*signature));
        }
    }
    return signatures;
}

} // namespace

UpdateService::UpdateService(Configuration configuration, Outside outside)
    : configuration_(std::move(configuration))
    , outside_(std::move(outside)) {}

UpdateService::~UpdateService() = default;

void UpdateService::check() {
    if (state.value().isBusy()) {
        return;
    }
    if (configuration_.feedURL.empty()) {
        state.set({Kind::packageManaged, {}, 0, {}});
        return;
    }
    checkLimit_ = outside_.clock.after(checkLimit, [this] {
        fail({Failure::unreachable, "The request timed out."});
    });
    exchange_ = outside_.transport.send(getRequest(configuration_.feedURL),
                                        [this](const auto& outcome) { feedArrived(outcome); });
    state.set({Kind::checking, {}, 0, {}});
}

void UpdateService::feedArrived(const Result<HttpResponse, TransportError>& outcome) {
    endSteps();
    if (const auto failure = failureOf(outcome)) {
        fail(*failure);
        return;
    }
    const auto appcast = outside_.readAppcast(outcome.value().body);
    if (!appcast.ok()) {
        fail({Failure::malformedFeed, appcast.error()});
        return;
    }
    choose(appcast.value());
}

void UpdateService::choose(const Appcast& appcast) {
    UpdateChoice choice =
        chooseUpdate(appcast, configuration_.installedVersion, configuration_.systemVersion);
    UpdateState next;
    next.item = std::move(choice.item);
    switch (choice.kind) {
    case UpdateChoice::Kind::available:
        next.kind = Kind::available;
        break;
    case UpdateChoice::Kind::upToDate:
        next.kind = Kind::upToDate;
        break;
    case UpdateChoice::Kind::systemTooOld:
        next.kind = Kind::systemTooOld;
        break;
    case UpdateChoice::Kind::onlyOlder:
        next.kind = Kind::onlyOlder;
        break;
    }
    if (next.kind == Kind::available) {
        if (!mayFollow(next.item->releaseNotesLink, configuration_.feedURL)) {
            next.item->releaseNotesLink.clear();
        }
        next.failure = objection(*next.item);
        next.kind = next.failure ? Kind::failed : Kind::available;
    }
    state.set(std::move(next));
}

std::optional<UpdateFailure> UpdateService::objection(const AppcastItem& item) const {
    if (!mayFollow(item.packageURL, configuration_.feedURL)) {
        return UpdateFailure{Failure::insecureAddress, {}};
    }
    if (item.signatures.empty()) {
        return UpdateFailure{Failure::notSigned, {}};
    }
    if (decodedSignatures(item).empty()) {
        return UpdateFailure{Failure::wronglySigned, {}};
    }
    return std::nullopt;
}

void UpdateService::install() {
    const UpdateState& now = state.value();
    const bool isPossible =
        now.kind == Kind::available || (now.kind == Kind::failed && now.item.has_value());
    if (!isPossible) {
        return;
    }
    if (const auto reason = objection(*now.item)) {
        fail(*reason);
        return;
    }
    file_ = outside_.packages.create(now.item->version);
    HttpRequest request = getRequest(now.item->packageURL);
    request.maxBodySize = now.item->packageLength;
    request.sink = [this](std::string part, std::function<void()> taken) {
        store(std::move(part), std::move(taken));
    };
    exchange_ =
        outside_.transport.send(request, [this](const auto& outcome) { downloadEnded(outcome); });
    enter(Kind::downloading);
}

void UpdateService::store(std::string part, std::function<void()> taken) {
    const std::uint64_t length = part.size();
    file_->append(std::move(part), [this, length, taken = std::move(taken)](WriteOutcome outcome) {
        if (outcome != WriteOutcome::written) {
            fail({outcome == WriteOutcome::diskFull ? Failure::diskFull : Failure::notStored, {}});
            return;
        }
        UpdateState next = state.value();
        next.received += length;
        state.set(std::move(next));
        // Last: it may end the download.
        taken();
    });
}

void UpdateService::downloadEnded(const Result<HttpResponse, TransportError>& outcome) {
    exchange_.reset();
    if (const auto failure = failureOf(outcome)) {
        const bool isTooLong =
            !outcome.ok() && outcome.error().kind == TransportError::Kind::tooLarge;
        fail(isTooLong ? UpdateFailure{Failure::wrongLength, {}} : *failure);
        return;
    }
    enter(Kind::verifying);
    const AppcastItem& item = *state.value().item;
    file_->seal({item.version, item.packageLength, decodedSignatures(item)},
                [this](PackageVerdict verdict, const std::string& path) { sealed(verdict, path); });
}

void UpdateService::sealed(PackageVerdict verdict, const std::string& path) {
    if (verdict != PackageVerdict::genuine) {
        fail(failureOf(verdict));
        return;
    }
    handOver(path);
}

void UpdateService::handOver(const std::string& path) {
    handOver_ = outside_.installer.install(path, [this, path](bool isTaken) {
        if (isTaken) {
            endSteps();
            enter(Kind::handedOver);
        } else {
            fail({Failure::noInstaller, path});
        }
    });
    enter(Kind::handingOver);
}

void UpdateService::cancel() {
    if (state.value().kind == Kind::downloading || state.value().kind == Kind::verifying) {
        endSteps();
        enter(Kind::available);
    }
}

std::optional<UpdateFailure>
UpdateService::failureOf(const Result<HttpResponse, TransportError>& outcome) {
    if (!outcome.ok()) {
        return UpdateFailure{Failure::unreachable, outcome.error().description};
    }
    const int status = outcome.value().statusCode;
    if (status == 200) {
        return std::nullopt;
    }
    if (status >= 300 && status < 400) {
        return UpdateFailure{Failure::insecureRedirect, {}};
    }
    return UpdateFailure{Failure::refusedByServer, std::to_string(status)};
}

UpdateFailure UpdateService::failureOf(PackageVerdict verdict) {
    switch (verdict) {
    case PackageVerdict::wrongLength:
        return {Failure::wrongLength, {}};
    case PackageVerdict::wrongSignature:
        return {Failure::wronglySigned, {}};
    case PackageVerdict::unverifiable:
        return {Failure::unverifiable, {}};
    case PackageVerdict::genuine:
    case PackageVerdict::unreadable:
        break;
    }
    return {Failure::notStored, {}};
}

void UpdateService::fail(UpdateFailure failure) {
    endSteps();
    UpdateState next = state.value();
    next.kind = Kind::failed;
    next.received = 0;
    next.failure = std::move(failure);
    state.set(std::move(next));
}

void UpdateService::endSteps() {
    exchange_.reset();
    checkLimit_.reset();
    file_.reset();
    handOver_.reset();
}

void UpdateService::enter(Kind kind) {
    UpdateState next = state.value();
    next.kind = kind;
    next.received = 0;
    next.failure.reset();
    state.set(std::move(next));
}

} // namespace tandrel
