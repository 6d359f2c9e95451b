#include "Services/UpdateService.h"

#include "Support/FakeHttpTransport.h"
#include "Support/FakePackageInstaller.h"
#include "Support/FakePackageStore.h"
#include "Support/ManualClock.h"

#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Kind = UpdateState::Kind;
using Failure = UpdateFailure::Kind;

constexpr const char* feedURL = "https://www.quorvane.example/appcast.xml";

/// 64 bytes of zeros, and of ones.
const std::string zeros = std::string(85, 'A') + "A==";
const std::string ones = std::string(84, '/') + "/w==";

AppcastItem newVersion() {
    AppcastItem item;
    item.version = "1.2";
    item.releaseNotesLink = "https://www.quorvane.example/notes";
    item.packageURL = "https://cdn.example/tandrel.deb";
    item.packageLength = 10;
    item.signatures = {zeros};
    return item;
}

class UpdateServiceTest : public testing::Test {
protected:
    UpdateServiceTest() { makeService(feedURL); }

    void makeService(const std::string& feed) {
        service = std::make_unique<UpdateService>(
            UpdateService::Configuration{feed, "1.1", "2.36"},
            UpdateService::Outside{transport, packages, installer, clock,
                                   [this](std::string_view bytes) {
                                       read.emplace_back(bytes);
                                       return appcast;
                                   }});
        kinds.clear();
        subscription = service->state.observe([this](const UpdateState& state) {
            if (kinds.empty() || kinds.back() != state.kind) {
                kinds.push_back(state.kind);
            }
        });
    }

    void check(const AppcastItem& item) {
        appcast = Appcast{item};
        service->check();
        transport.answer(200, "feed");
    }
    void startInstalling(const AppcastItem& item = newVersion()) {
        check(item);
        service->install();
    }
    /// A part of the package comes; what the sender is told is counted.
    void receive(const std::string& part) {
        transport.lastRequest().sink(part, [this] { ++taken; });
    }
    void download(const std::string& bytes) {
        receive(bytes);
        packages.proceed();
        transport.answer(200);
    }
    [[nodiscard]] const UpdateState& state() const { return service->state.value(); }
    [[nodiscard]] std::optional<Failure> failure() const {
        return state().failure ? std::optional(state().failure->kind) : std::nullopt;
    }

    test::FakeHttpTransport transport;
    test::FakePackageStore packages;
    test::FakePackageInstaller installer;
    test::ManualClock clock;
    Result<Appcast, std::string> appcast = Appcast{};
    std::vector<std::string> read;
    std::unique_ptr<UpdateService> service;
    std::vector<Kind> kinds;
    Subscription subscription;
    int taken = 0;
};

// The check

TEST_F(UpdateServiceTest, AsksNobodyWhenNoFeedIsCompiledIn) {
    makeService("");
    service->check();
    EXPECT_EQ(state().kind, Kind::packageManaged);
    EXPECT_THAT(transport.requests(), IsEmpty());
}

TEST_F(UpdateServiceTest, FetchesTheFeedBoundedAndOverSecureRedirects) {
    service->check();
    EXPECT_EQ(state().kind, Kind::checking);
    ASSERT_EQ(transport.requests().size(), 1U);
    const HttpRequest& request = transport.lastRequest();
    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.url, feedURL);
    EXPECT_THAT(request.headers, IsEmpty());
    EXPECT_EQ(request.redirects, HttpRedirects::secure);
    EXPECT_EQ(request.maxBodySize, 1024U * 1024U);
}

TEST_F(UpdateServiceTest, ChecksOneAtATime) {
    service->check();
    service->check();
    EXPECT_EQ(transport.requests().size(), 1U);
    transport.answer(200, "feed");
    service->check();
    EXPECT_EQ(transport.requests().size(), 2U);
}

TEST_F(UpdateServiceTest, SaysWhatTheFeedHas) {
    AppcastItem item = newVersion();
    check(item);
    EXPECT_THAT(read, ElementsAre("feed"));
    EXPECT_EQ(state(), (UpdateState{Kind::available, item, 0, {}}));
    item.version = "1.1";
    check(item);
    EXPECT_EQ(state(), (UpdateState{Kind::upToDate, {}, 0, {}}));
    item.version = "1.0";
    check(item);
    EXPECT_EQ(state(), (UpdateState{Kind::onlyOlder, item, 0, {}}));
    item.version = "1.2";
    item.minimumSystemVersion = "2.37";
    check(item);
    EXPECT_EQ(state(), (UpdateState{Kind::systemTooOld, item, 0, {}}));
}

TEST_F(UpdateServiceTest, SaysWhyItCouldNotCheck) {
    service->check();
    transport.fail({TransportError::Kind::tls, "The server's certificate was refused."});
    EXPECT_EQ(state().failure,
              (UpdateFailure{Failure::unreachable, "The server's certificate was refused."}));
    EXPECT_FALSE(state().item);
    service->check();
    transport.answer(404, "not found");
    EXPECT_EQ(state().failure, (UpdateFailure{Failure::refusedByServer, "404"}));
    service->check();
    transport.answer(302);
    EXPECT_EQ(failure(), Failure::insecureRedirect);
    appcast = std::string("it is not well-formed (line 1)");
    service->check();
    transport.answer(200, "garbage");
    EXPECT_EQ(state().failure,
              (UpdateFailure{Failure::malformedFeed, "it is not well-formed (line 1)"}));
    EXPECT_EQ(state().kind, Kind::failed);
    EXPECT_EQ(read.size(), 1U) << "only a whole answer is read";
}

TEST_F(UpdateServiceTest, GivesAServerAMinuteForTheWholeFeed) {
    service->check();
    clock.advance(59s);
    EXPECT_EQ(state().kind, Kind::checking);
    clock.advance(1s);
    EXPECT_EQ(failure(), Failure::unreachable);
    EXPECT_EQ(transport.abortedCount(), 1U);
    check(newVersion());
    clock.advance(2min);
    EXPECT_EQ(state().kind, Kind::available) << "the limit ends with the check";
}

TEST_F(UpdateServiceTest, RefusesAtOnceWhatItCouldNotInstall) {
    AppcastItem item = newVersion();
    item.signatures.clear();
    check(item);
    EXPECT_EQ(failure(), Failure::notSigned);
    item.signatures = {"no base 64", "c2hvcnQ="};
    check(item);
    EXPECT_EQ(failure(), Failure::wronglySigned);
    item = newVersion();
    item.packageURL = "http://cdn.example/tandrel.deb";
    check(item);
    EXPECT_EQ(failure(), Failure::insecureAddress);
    service->install();
    EXPECT_EQ(failure(), Failure::insecureAddress);
    EXPECT_THAT(packages.files(), IsEmpty());
    EXPECT_EQ(transport.requests().size(), 3U);
}

TEST_F(UpdateServiceTest, DropsALinkToNotesThatIsNotSecure) {
    AppcastItem item = newVersion();
    item.releaseNotesLink = "file:///etc/passwd";
    check(item);
    EXPECT_EQ(state().kind, Kind::available);
    EXPECT_EQ(state().item->releaseNotesLink, "");
}

// The installation

TEST_F(UpdateServiceTest, DownloadsChecksAndHandsOverThePackage) {
    AppcastItem item = newVersion();
    item.signatures = {zeros, "no base 64", ones};
    startInstalling(item);
    EXPECT_EQ(state().kind, Kind::downloading);
    EXPECT_EQ(transport.lastRequest().url, item.packageURL);
    EXPECT_EQ(transport.lastRequest().redirects, HttpRedirects::secure);
    EXPECT_EQ(transport.lastRequest().maxBodySize, 10U) << "not a byte more than announced";
    ASSERT_EQ(packages.files().size(), 1U);
    EXPECT_EQ(packages.files()[0]->version, "1.2");

    receive("0123456");
    EXPECT_EQ(taken, 0) << "the sender waits for the disk";
    EXPECT_EQ(state().received, 0U);
    packages.proceed();
    EXPECT_EQ(taken, 1);
    EXPECT_EQ(state().received, 7U);
    receive("789");
    packages.proceed();
    transport.answer(200);
    EXPECT_EQ(state().kind, Kind::verifying);
    EXPECT_EQ(packages.files()[0]->contents, "0123456789");
    EXPECT_EQ(packages.files()[0]->proof,
              (PackageProof{"1.2", 10, {std::string(64, '\0'), std::string(64, '\xff')}}));
    EXPECT_THAT(installer.paths, IsEmpty()) << "nothing else touches it before it is checked";

    packages.proceed();
    EXPECT_THAT(installer.paths, ElementsAre(test::FakePackageStore::path));
    EXPECT_EQ(state().kind, Kind::handingOver);
    installer.answer(true);
    EXPECT_EQ(state(), (UpdateState{Kind::handedOver, item, 0, {}}));
}

TEST_F(UpdateServiceTest, HandsNothingOverThatIsNotGenuine) {
    const struct {
        PackageVerdict verdict;
        Failure failure;
    } cases[] = {{PackageVerdict::wrongLength, Failure::wrongLength},
                 {PackageVerdict::wrongSignature, Failure::wronglySigned},
                 {PackageVerdict::unverifiable, Failure::unverifiable},
                 {PackageVerdict::unreadable, Failure::notStored}};
    for (const auto& [verdict, expected] : cases) {
        packages.verdict = verdict;
        startInstalling();
        download("0123456789");
        packages.proceed();
        EXPECT_EQ(state().kind, Kind::failed);
        EXPECT_EQ(failure(), expected);
        EXPECT_TRUE(packages.files().back()->isGivenUp);
    }
    EXPECT_THAT(installer.paths, IsEmpty());
}

TEST_F(UpdateServiceTest, SaysWhyADownloadFailed) {
    const struct {
        std::optional<TransportError> error;
        int status;
        Failure failure;
    } cases[] = {{TransportError{TransportError::Kind::other, "lost"}, 0, Failure::unreachable},
                 {TransportError{TransportError::Kind::tooLarge, "large"}, 0, Failure::wrongLength},
                 {std::nullopt, 404, Failure::refusedByServer},
                 {std::nullopt, 302, Failure::insecureRedirect}};
    for (const auto& [error, status, expected] : cases) {
        startInstalling();
        receive("01234");
        packages.proceed();
        if (error) {
            transport.fail(*error);
        } else {
            transport.answer(status);
        }
        EXPECT_EQ(failure(), expected);
        EXPECT_TRUE(packages.files().back()->isGivenUp);
        EXPECT_TRUE(state().item) << "so that it can be tried again";
        EXPECT_EQ(state().received, 0U);
    }
}

TEST_F(UpdateServiceTest, EndsTheDownloadWhenTheDiskTakesNoMore) {
    packages.writeOutcome = WriteOutcome::diskFull;
    startInstalling();
    receive("01234");
    packages.proceed();
    EXPECT_EQ(failure(), Failure::diskFull);
    EXPECT_EQ(taken, 0);
    EXPECT_EQ(transport.pendingCount(), 0U);
    packages.writeOutcome = WriteOutcome::failed;
    service->install();
    receive("01234");
    packages.proceed();
    EXPECT_EQ(failure(), Failure::notStored);
}

TEST_F(UpdateServiceTest, TriesAgainAfterAFailure) {
    startInstalling();
    transport.fail({TransportError::Kind::other, "lost"});
    service->install();
    EXPECT_EQ(state().kind, Kind::downloading);
    EXPECT_FALSE(state().failure);
    EXPECT_EQ(packages.files().size(), 2U);
    download("0123456789");
    packages.proceed();
    EXPECT_EQ(state().kind, Kind::handingOver);
}

TEST_F(UpdateServiceTest, SaysThatNothingTookThePackage) {
    startInstalling();
    download("0123456789");
    packages.proceed();
    installer.answer(false);
    EXPECT_EQ(state().failure, (UpdateFailure{Failure::noInstaller, test::FakePackageStore::path}));
}

TEST_F(UpdateServiceTest, TakesNoSecondRequestWhileOneIsUnderWay) {
    startInstalling();
    service->install();
    service->check();
    EXPECT_EQ(transport.requests().size(), 2U);
    EXPECT_EQ(packages.files().size(), 1U);
    download("0123456789");
    service->install();
    service->check();
    packages.proceed();
    service->install();
    service->check();
    EXPECT_EQ(transport.requests().size(), 2U);
    EXPECT_THAT(kinds, ElementsAre(Kind::checking, Kind::available, Kind::downloading,
                                   Kind::verifying, Kind::handingOver));
}

TEST_F(UpdateServiceTest, InstallsNothingUnlessSomethingIsAvailable) {
    service->install();
    AppcastItem item = newVersion();
    item.version = "1.0";
    check(item);
    service->install();
    service->check();
    transport.fail({TransportError::Kind::other, "lost"});
    service->install();
    EXPECT_THAT(packages.files(), IsEmpty());
}

TEST_F(UpdateServiceTest, GivesADownloadUpWhenItIsCancelled) {
    startInstalling();
    receive("01234");
    packages.proceed();
    service->cancel();
    EXPECT_EQ(state(), (UpdateState{Kind::available, newVersion(), 0, {}}));
    EXPECT_EQ(transport.pendingCount(), 0U);
    EXPECT_TRUE(packages.files()[0]->isGivenUp);
    service->install();
    EXPECT_EQ(state().kind, Kind::downloading);
}

TEST_F(UpdateServiceTest, GivesACheckOfThePackageUpWhenItIsCancelled) {
    startInstalling();
    download("0123456789");
    service->cancel();
    packages.proceed();
    EXPECT_EQ(state().kind, Kind::available);
    EXPECT_THAT(installer.paths, IsEmpty());
}

TEST_F(UpdateServiceTest, LeavesNothingBehindWhenItGoes) {
    startInstalling();
    receive("01234");
    service.reset();
    packages.proceed();
    EXPECT_EQ(taken, 0);
    EXPECT_EQ(transport.pendingCount(), 0U);
    EXPECT_TRUE(packages.files()[0]->isGivenUp);
}

TEST_F(UpdateServiceTest, MayBeDestroyedByWhoeverHearsOfIt) {
    const auto end = service->state.observe([this](const UpdateState& state) {
        if (state.kind == Kind::failed) {
            service.reset();
        }
    });
    service->check();
    transport.answer(404);
    EXPECT_EQ(service, nullptr);
}

} // namespace
} // namespace tandrel
