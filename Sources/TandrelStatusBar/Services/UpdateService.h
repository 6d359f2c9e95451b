#pragma once

#include "Foundation/Handle.h"
#include "Foundation/Published.h"
#include "Foundation/Result.h"
#include "Models/Appcast.h"
#include "Platform/Clock.h"
#include "Platform/HttpTransport.h"
#include "Platform/PackageInstaller.h"
#include "Platform/PackageStore.h"
#include "Services/UpdateState.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace tandrel {

/// Looks for a newer version, and brings it to the system's installer: feed, choice, download,
/// check, hand-over. One thing at a time: whatever is asked while something is under way is
/// ignored. Destroying it ends all that, and leaves nothing behind. Main thread.
class UpdateService {
public:
    struct Configuration {
        /// Empty: there is no feed.
        std::string feedURL;
        std::string installedVersion;
        /// Empty when it is not known.
        std::string systemVersion;
    };

    using AppcastReader = std::function<Result<Appcast, std::string>(std::string_view)>;

    /// All must outlive the service.
    struct Outside {
        HttpTransport& transport;
        PackageStore& packages;
        PackageInstaller& installer;
        Clock& clock;
        AppcastReader readAppcast;
    };

    UpdateService(Configuration configuration, Outside outside);
    UpdateService(const UpdateService&) = delete;
    UpdateService& operator=(const UpdateService&) = delete;
    ~UpdateService();

    Published<UpdateState> state;

    /// Fetches the feed and says what it has for this installation.
    void check();
    /// Downloads the version that is available, checks it and hands it over; again after a failure.
    void install();
    /// Gives a download up: the version is available as before.
    void cancel();

private:
    using Kind = UpdateState::Kind;
    using Failure = UpdateFailure::Kind;

    void feedArrived(const Result<HttpResponse, TransportError>& outcome);
    void choose(const Appcast& appcast);
    /// Why the item cannot be installed at all; nothing when it can be tried.
    [[nodiscard]] std::optional<UpdateFailure> objection(const AppcastItem& item) const;

    void store(std::string part, std::function<void()> taken);
    void downloadEnded(const Result<HttpResponse, TransportError>& outcome);
    void sealed(PackageVerdict verdict, const std::string& path);
    void handOver(const std::string& path);

    [[nodiscard]] static std::optional<UpdateFailure>
    failureOf(const Result<HttpResponse, TransportError>& outcome);
    [[nodiscard]] static UpdateFailure failureOf(PackageVerdict verdict);

    void fail(UpdateFailure failure);
    /// Ends the steps of what is under way.
    void endSteps();
    void enter(Kind kind);

    const Configuration configuration_;
    const Outside outside_;
    std::unique_ptr<HttpExchange> exchange_;
    Handle checkLimit_;
    std::unique_ptr<PackageFile> file_;
    Handle handOver_;
};

} // namespace tandrel
