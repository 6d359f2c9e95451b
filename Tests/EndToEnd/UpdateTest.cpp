#include "BuildPaths.h"
#include "EndToEnd/ReleaseScript.h"
#include "Foundation/Base64.h"
#include "Platform/DiskPackageStore.h"
#include "Platform/OpenSSL/Ed25519.h"
#include "Platform/Qt/AppcastReader.h"
#include "Platform/Qt/QtClock.h"
#include "Platform/Qt/QtHttpTransport.h"
#include "Platform/Qt/QtMainQueue.h"
#include "Services/UpdateService.h"
#include "Support/FakePackageInstaller.h"
#include "Support/FileText.h"
#include "Support/Qt/EventLoop.h"
#include "Support/Qt/ScriptedHttpServer.h"
#include "Support/TestCertificates.h"

#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace tandrel::test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using Kind = UpdateState::Kind;
using Failure = UpdateFailure::Kind;
using Connection = ScriptedHttpServer::Connection;
using Request = ScriptedHttpServer::Request;
namespace fs = std::filesystem;

const std::string package = [] {
    std::string bytes;
    for (int number = 0; number < 300'000; ++number) {
        bytes += static_cast<char>(number * 7 + number / 251);
    }
    return bytes;
}();

void replace(std::string& text, const std::string& what, const std::string& by) {
    const std::size_t at = text.find(what);
    ASSERT_NE(at, std::string::npos) << what;
    text.replace(at, what.size(), by);
}

/// All of an update but the window and the system's installer: a server that speaks TLS, feeds and
/// packages as they are published, and the program's own parts up to the hand-over.
class UpdateTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        certificates = std::make_unique<TestCertificates>();
        release = std::make_unique<ReleaseScript>();
        key = release->makeKey("key");
        otherKey = release->makeKey("other-key");
    }
    static void TearDownTestSuite() {
        release.reset();
        certificates.reset();
    }

    void SetUp() override {
        feed = release->makeFeed("1.2", {key}, server.url("/package.deb"), package);
        packageAnswer = ScriptedHttpServer::response("200 OK", package);
        server.onRequest([this](const Request& request, Connection connection) {
            if (request.line == "GET /appcast.xml HTTP/1.1") {
                connection.send(feedAnswer.empty() ? ScriptedHttpServer::response("200 OK", feed)
                                                   : feedAnswer);
            } else if (servePackage) {
                servePackage(connection);
            } else {
                connection.send(packageAnswer);
            }
        });
        makeService(ReleaseScript::publicKey(key));
    }
    void TearDown() override {
        service.reset();
        store->flush(20s);
        store.reset();
        fs::remove_all(folder);
    }

    void makeService(const std::string& publicKey, const std::string& installed = "1.1") {
        service.reset();
        store = std::make_unique<DiskPackageStore>(
            DiskPackageStore::Options{folder.string(), decodeBase64(publicKey).value(),
                                      verifyEd25519},
            queue);
        service = std::make_unique<UpdateService>(
            UpdateService::Configuration{server.url("/appcast.xml"), installed, "2.36"},
            UpdateService::Outside{transport, *store, installer, clock, readAppcast});
    }

    const UpdateState& settle() {
        EXPECT_TRUE(
            runUntil([this] { return !state().isBusy() || state().kind == Kind::handingOver; }));
        return state();
    }
    const UpdateState& check() {
        service->check();
        return settle();
    }
    const UpdateState& install() {
        EXPECT_EQ(check().kind, Kind::available) << failureText();
        service->install();
        return settle();
    }
    [[nodiscard]] const UpdateState& state() const { return service->state.value(); }
    [[nodiscard]] std::optional<Failure> failure() const {
        return state().failure ? std::optional(state().failure->kind) : std::nullopt;
    }
    [[nodiscard]] std::string failureText() const {
        return state().failure ? state().failure->detail : std::string();
    }
    [[nodiscard]] std::vector<std::string> files() const {
        store->flush(20s);
        std::vector<std::string> names;
        std::error_code none;
        for (const auto& entry : fs::directory_iterator(folder, none)) {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }
    /// What must hold whenever an installation failed.
    void expectNothingLeft() {
        EXPECT_EQ(state().kind, Kind::failed);
        EXPECT_THAT(installer.paths, IsEmpty());
        EXPECT_THAT(files(), IsEmpty());
    }

    static inline std::unique_ptr<TestCertificates> certificates;
    static inline std::unique_ptr<ReleaseScript> release;
    static inline fs::path key;
    static inline fs::path otherKey;

    ScriptedHttpServer server{certificates->good()};
    std::string feed;
    /// When set, what is sent in place of the feed.
    std::string feedAnswer;
    std::string packageAnswer;
    std::function<void(Connection)> servePackage;

    fs::path folder = release->folder() / "cache" / "updates";
    QtClock clock;
    QtMainQueue queue;
    QtHttpTransport transport{QtHttpTransport::Options{5s, {certificates->authority()}}};
    FakePackageInstaller installer;
    std::unique_ptr<DiskPackageStore> store;
    std::unique_ptr<UpdateService> service;
};

TEST_F(UpdateTest, WhatIsPublishedIsInstalled) {
    ASSERT_EQ(install().kind, Kind::handingOver) << failureText();
    ASSERT_THAT(installer.paths, SizeIs(1));
    EXPECT_TRUE(textOf(installer.paths[0]) == package);
    EXPECT_EQ(installer.paths[0], (folder / "quorvane-tandrel_1.2.deb").string());
    struct stat info {};
    ASSERT_EQ(::stat(installer.paths[0].c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777U, 0600U);
    installer.answer(true);
    EXPECT_EQ(state().kind, Kind::handedOver);
}

TEST_F(UpdateTest, TheNewestOfAPublishedFeedIsOffered) {
    const auto path = release->folder() / "appcast.xml";
    const auto outcome = ReleaseScript::run(
        {"add", "--feed", path.string(), "--key", key.string(), "--version", "1.10", "--url",
         server.url("/package.deb"), "--minimum-system", "2.35", "--notes-link",
         "https://www.quorvane.example/?a=1&b=2", (release->folder() / "package.deb").string()});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.text;
    feed = textOf(path);
    ASSERT_EQ(check().kind, Kind::available) << failureText();
    EXPECT_EQ(state().item->version, "1.10");
    EXPECT_EQ(state().item->releaseNotesLink, "https://www.quorvane.example/?a=1&b=2");
    EXPECT_EQ(install().kind, Kind::handingOver);
}

TEST_F(UpdateTest, AKeyCanTakeThePlaceOfAnother) {
    feed = release->makeFeed("1.2", {otherKey, key}, server.url("/package.deb"), package);
    EXPECT_EQ(install().kind, Kind::handingOver) << "with the old key";
    makeService(ReleaseScript::publicKey(otherKey));
    EXPECT_EQ(install().kind, Kind::handingOver) << "with the new key";
}

TEST_F(UpdateTest, APackageOfAnotherKeyIsRefused) {
    feed = release->makeFeed("1.2", {otherKey}, server.url("/package.deb"), package);
    install();
    EXPECT_EQ(failure(), Failure::wronglySigned);
    expectNothingLeft();
}

TEST_F(UpdateTest, AChangedPackageIsRefused) {
    char& byte = packageAnswer[packageAnswer.size() / 2];
    byte = static_cast<char>(byte ^ 1);
    install();
    EXPECT_EQ(failure(), Failure::wronglySigned);
    expectNothingLeft();
}

TEST_F(UpdateTest, AnOldPackageUnderANewVersionIsRefused) {
    replace(feed, "<update:version>1.2<", "<update:version>1.3<");
    install();
    EXPECT_EQ(failure(), Failure::wronglySigned);
    expectNothingLeft();
}

TEST_F(UpdateTest, AnUnsignedPackageIsRefused) {
    const std::size_t start = feed.find("<update:signature>");
    feed.erase(start, feed.find("</update:signature>") + 19 - start);
    check();
    EXPECT_EQ(failure(), Failure::notSigned);
    expectNothingLeft();
}

TEST_F(UpdateTest, AnOlderVersionIsRefused) {
    makeService(ReleaseScript::publicKey(key), "1.3");
    EXPECT_EQ(check().kind, Kind::onlyOlder);
}

TEST_F(UpdateTest, APackageThatBreaksOffIsRefused) {
    servePackage = [this](Connection connection) {
        connection.send(packageAnswer.substr(0, packageAnswer.size() / 2));
        connection.close();
    };
    install();
    EXPECT_EQ(failure(), Failure::unreachable);
    expectNothingLeft();
}

TEST_F(UpdateTest, APackageOfAnotherLengthThanStatedIsRefused) {
    for (const std::string& bytes : {package.substr(1), package + "x"}) {
        packageAnswer = ScriptedHttpServer::response("200 OK", bytes);
        install();
        EXPECT_EQ(failure(), Failure::wrongLength);
        expectNothingLeft();
    }
}

TEST_F(UpdateTest, AnEndlessPackageIsCutOff) {
    servePackage = [](Connection connection) {
        connection.send("HTTP/1.1 200 OK\r\n\r\n");
        connection.every(1, [connection]() mutable {
            connection.send(std::string(64 * 1024, 'x'));
            return true;
        });
    };
    install();
    EXPECT_EQ(failure(), Failure::wrongLength);
    expectNothingLeft();
}

TEST_F(UpdateTest, AServerWithoutThePackageIsSaidSo) {
    packageAnswer = ScriptedHttpServer::response("404 Not Found", "not here");
    install();
    EXPECT_EQ(state().failure, (UpdateFailure{Failure::refusedByServer, "404"}));
    expectNothingLeft();
}

TEST_F(UpdateTest, ARedirectToPlainHttpIsRefused) {
    ScriptedHttpServer plain;
    plain.answerWith(ScriptedHttpServer::response("200 OK", package));
    packageAnswer = ScriptedHttpServer::response("302 Found", "",
                                                 "Location: " + plain.url("/package.deb") + "\r\n");
    install();
    EXPECT_EQ(failure(), Failure::insecureRedirect);
    expectNothingLeft();
    feedAnswer = packageAnswer;
    check();
    EXPECT_EQ(failure(), Failure::insecureRedirect);
    EXPECT_EQ(plain.connectionCount(), 0U);
}

TEST_F(UpdateTest, ARedirectToAnotherSecureServerIsFollowed) {
    ScriptedHttpServer other(certificates->good());
    other.answerWith(ScriptedHttpServer::response("200 OK", package));
    packageAnswer = ScriptedHttpServer::response(
        "302 Found", "", "Location: " + other.url("/p.deb", "localhost") + "\r\n");
    EXPECT_EQ(install().kind, Kind::handingOver) << failureText();
}

TEST_F(UpdateTest, AServerThatFallsSilentIsGivenUp) {
    servePackage = [this](Connection connection) {
        connection.send(packageAnswer.substr(0, packageAnswer.size() / 2));
    };
    install();
    EXPECT_EQ(state().failure, (UpdateFailure{Failure::unreachable, "The request timed out."}));
    expectNothingLeft();
}

TEST_F(UpdateTest, ABadFeedIsSaidSo) {
    feedAnswer = ScriptedHttpServer::response("200 OK", "<html>Sign in to the Wi-Fi</html>");
    check();
    EXPECT_EQ(failure(), Failure::malformedFeed);
    feedAnswer = ScriptedHttpServer::response("200 OK", std::string(1024 * 1024 + 1, ' '));
    check();
    EXPECT_EQ(state().failure,
              (UpdateFailure{Failure::unreachable, "The server's answer is too large."}));
    feedAnswer = "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n<rss>";
    check();
    EXPECT_EQ(failure(), Failure::unreachable);
    feedAnswer = ScriptedHttpServer::response("500 Broken", "");
    check();
    EXPECT_EQ(state().failure, (UpdateFailure{Failure::refusedByServer, "500"}));
    feedAnswer.clear();
    EXPECT_EQ(check().kind, Kind::available) << "and the next check is a new one";
}

TEST_F(UpdateTest, AServerThatCannotProveItsNameIsRefused) {
    ScriptedHttpServer impostor(certificates->wrongHost());
    impostor.answerWith(ScriptedHttpServer::response("200 OK", feed));
    UpdateService other({impostor.url("/appcast.xml"), "1.1", "2.36"},
                        {transport, *store, installer, clock, readAppcast});
    other.check();
    ASSERT_TRUE(runUntil([&] { return !other.state.value().isBusy(); }));
    EXPECT_THAT(other.state.value().failure.value().detail, HasSubstr("certificate was refused"));
    EXPECT_THAT(impostor.requests(), IsEmpty());
}

TEST_F(UpdateTest, ACancelledDownloadLeavesNothing) {
    servePackage = [this](Connection connection) {
        connection.send(packageAnswer.substr(0, packageAnswer.size() / 2));
    };
    check();
    service->install();
    ASSERT_TRUE(runUntil([this] { return state().received > 0; }));
    EXPECT_THAT(files(), SizeIs(1));
    service->cancel();
    EXPECT_EQ(state().kind, Kind::available);
    EXPECT_THAT(files(), IsEmpty());
    servePackage = nullptr;
    EXPECT_EQ(install().kind, Kind::handingOver) << failureText();
}

TEST_F(UpdateTest, ADownloadThatItsOwnerLeavesLeavesNothing) {
    servePackage = [this](Connection connection) {
        connection.send(packageAnswer.substr(0, packageAnswer.size() / 2));
    };
    check();
    service->install();
    ASSERT_TRUE(runUntil([this] { return state().received > 0; }));
    service.reset();
    EXPECT_THAT(files(), IsEmpty());
    ASSERT_TRUE(runUntil([this] { return server.openConnectionCount() == 0; }));
}

// The makers' side

TEST_F(UpdateTest, KeysAreKeptFromOthersAndOutOfTheRepository) {
    struct stat info {};
    ASSERT_EQ(::stat(key.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777U, 0600U);
    const std::string before = textOf(key);
    EXPECT_NE(ReleaseScript::run({"key", key.string()}).exitCode, 0) << "it is there already";
    EXPECT_EQ(textOf(key), before);
    const fs::path inside = fs::path(TANDREL_SCRIPTS) / "secret-key";
    EXPECT_NE(ReleaseScript::run({"key", inside.string()}).exitCode, 0);
    EXPECT_FALSE(fs::exists(inside));
    fs::permissions(otherKey, fs::perms::others_read, fs::perm_options::add);
    EXPECT_NE(ReleaseScript::run({"public-key", otherKey.string()}).exitCode, 0);
    fs::permissions(otherKey, fs::perms::others_read, fs::perm_options::remove);
}

TEST_F(UpdateTest, WhatTheProgramWouldRefuseIsNotPublished) {
    const auto path = release->folder() / "appcast.xml";
    const std::string before = textOf(path);
    const auto add = [&](const std::string& version, const std::string& url) {
        return ReleaseScript::run({"add", "--feed", path.string(), "--key", key.string(),
                                   "--version", version, "--url", url,
                                   (release->folder() / "package.deb").string()})
            .exitCode;
    };
    EXPECT_NE(add("1.2", "https://cdn.example/p.deb"), 0) << "twice";
    EXPECT_NE(add("1 3", "https://cdn.example/p.deb"), 0);
    EXPECT_NE(add("1.3", "http://cdn.example/p.deb"), 0);
    EXPECT_NE(add("1.3", "https://cdn.example/p.deb\"/><x y=\""), 0);
    EXPECT_EQ(textOf(path), before);
    EXPECT_EQ(add("1.3", "https://cdn.example/p.deb"), 0);
}

} // namespace
} // namespace tandrel::test
