#include "EndToEnd/AppStory.h"

#include "BuildPaths.h"
#include "Support/Desktop/BusConnection.h"
#include "Support/WaitUntil.h"

#include <QDBusMessage>
#include <QStringList>
#include <QVariantMap>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace tandrel::test {

using std::chrono::seconds;

std::unique_ptr<PrivateDesktop> AppStory::desktop_;
std::unique_ptr<DevBackend> AppStory::backend_;

namespace {

std::filesystem::path traceFolder() {
    const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
    return std::filesystem::path(TANDREL_BUILD_BIN) / "../test-failures" /
           (std::string(test->test_suite_name()) + '.' + test->name());
}

} // namespace

void AppStory::SetUpTestSuite() {
    setUpOn(PrivateDesktop::Screen::x11);
}

void AppStory::setUpOn(PrivateDesktop::Screen screen) {
    desktop_ = std::make_unique<PrivateDesktop>(PrivateDesktop::Accessibility::on, screen);
    backend_ = std::make_unique<DevBackend>();
}

void AppStory::TearDownTestSuite() {
    backend_.reset();
    desktop_.reset();
}

void AppStory::SetUp() {
    std::filesystem::remove_all(traceFolder());
    desktop_->forgetOpenedPages();
}

void AppStory::TearDown() {
    if (HasFailure()) {
        keepTraces();
    }
    if (app_ && app_->process().isRunning()) {
        endApp();
    }
    if (app_) {
        checkOutput();
    }
    app_.reset();
    desktop_->stopTray();
    tray_ = nullptr;
    desktop_->stopKeyring();
    backend_->send("DELETE", "/dev/faults", "{}");
    if (!session_.empty()) {
        backend_->send("POST", "/dev/sessions/" + session_ + "/end", "{}");
    }
}

AppProcess& AppStory::start(const std::vector<std::string>& arguments,
                            const std::filesystem::path& home) {
    return start({arguments, backend_->url(), {}, home, {}});
}

AppProcess& AppStory::start(AppProcess::Start start) {
    for (const auto& [name, value] : environment) {
        start.environment.insert_or_assign(name, value);
    }
    app_ = std::make_unique<AppProcess>(*desktop_, start);
    return *app_;
}

int AppStory::startAgain(const std::vector<std::string>& arguments) {
    AppProcess second(*desktop_, {arguments, backend_->url(), environment, {}, {}});
    const auto code = second.waitForExit();
    EXPECT_TRUE(code.has_value()) << "a second start does not end";
    return code.value_or(-1);
}

void AppStory::pause() {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
}

void AppStory::clickTrayIcon() {
    EXPECT_TRUE(tray_->awaitItem().activate());
}

std::string AppStory::toolTip() {
    return tray_->awaitItem().toolTipTitle();
}

AppProcess& AppStory::startAndClick(const std::filesystem::path& home) {
    if (tray_ == nullptr) {
        tray_ = &desktop_->startStatusNotifierTray();
    }
    start({}, home);
    clickTrayIcon();
    return app();
}

AppProcess& AppStory::startWithPopover(const std::filesystem::path& home) {
    startAndClick(home);
    interface().await(role::label, "Quorvane Tandrel");
    return app();
}

void AppStory::click(const std::string& role, const std::string& name) {
    // An element that has just come may still be on its way to its place: the window grows only
    // after its content, when the X server says so.
    constexpr int looks = 8;
    auto area = interface().extents(interface().awaitEnabled(role, name));
    int unchanged = 0;
    waitUntil([&] {
        const auto before = area;
        area = interface().extents(interface().awaitEnabled(role, name));
        const bool isSame = area.x == before.x && area.y == before.y && area.width == before.width;
        unchanged = isSame ? unchanged + 1 : 0;
        return unchanged == looks;
    });
    clickOnce(area.x + area.width / 2, area.y + area.height / 2);
}

void AppStory::clickOnce(int x, int y) {
    // Longer and farther than Qt's limits for a double click, whose second half presses nothing:
    // two buttons that follow each other may lie in the same place.
    constexpr std::chrono::milliseconds interval(500);
    constexpr int distance = 10;
    if (std::abs(x - lastClick_.x) <= distance && std::abs(y - lastClick_.y) <= distance) {
        std::this_thread::sleep_until(lastClick_.time + interval);
    }
    input().click(x, y);
    lastClick_ = {x, y, std::chrono::steady_clock::now()};
}

void AppStory::fill(const std::string& role, const std::string& name, const std::string& text) {
    click(role, name);
    const bool hasFocus = waitUntil([&] {
        const auto field = interface().find(role, name);
        return field && field->has(AccessibleElement::State::focused);
    });
    if (!hasFocus) {
        throw std::runtime_error("a click does not bring the focus to " + name);
    }
    input().press({"ctrl+a"});
    input().type(text);
}

void AppStory::signIn() {
    fill(role::field, "Email", DevBackend::email);
    fill(role::password, "Password", DevBackend::password);
    click(role::button, "Sign In");
    interface().await(role::button, "Sign Out");
}

const std::string& AppStory::startSession() {
    session_ = backend_->startSession();
    return session_;
}

bool AppStory::answersFor(std::chrono::milliseconds duration) {
    std::vector<std::chrono::microseconds> answers;
    const auto end = std::chrono::steady_clock::now() + duration;
    while (std::chrono::steady_clock::now() < end) {
        answers.push_back(interface().roundTrip());
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    std::sort(answers.begin(), answers.end());
    std::printf("answers: %zu, median %.1f ms, slowest %.1f ms\n", answers.size(),
                static_cast<double>(answers[answers.size() / 2].count()) / 1000,
                static_cast<double>(answers.back().count()) / 1000);
    return answers.back() < stretched(std::chrono::milliseconds(500));
}

void AppStory::flood(int deliveries) {
    const BusConnection bus(desktop_->bus().address());
    QStringList urls;
    for (int count = 0; count < commandsOfADelivery; ++count) {
        urls << (count % 2 == 0 ? QStringLiteral("quorvane-tandrel://start?n=%1").arg(count)
                                : QStringLiteral("quorvane-tandrel://stop"));
    }
    for (int count = 0; count < deliveries; ++count) {
        QDBusMessage delivery = QDBusMessage::createMethodCall(
            QStringLiteral("com.quorvane.Tandrel"), QStringLiteral("/com/quorvane/Tandrel"),
            QStringLiteral("org.freedesktop.Application"), QStringLiteral("Open"));
        delivery.setArguments({urls, QVariantMap()});
        EXPECT_TRUE(bus.connection().send(delivery));
    }
    // The bus itself answers once it has taken all of them; what a connection that is closed has
    // not yet passed on is gone.
    EXPECT_FALSE(bus.call(QStringLiteral("org.freedesktop.DBus"),
                          QStringLiteral("/org/freedesktop/DBus"),
                          QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId"))
                     .isEmpty());
}

int AppStory::commandCount() const {
    static const std::string line = "Received URL";
    const std::string log = app_->debugLog();
    int count = 0;
    for (auto at = log.find(line); at != std::string::npos; at = log.find(line, at + 1)) {
        ++count;
    }
    return count;
}

void AppStory::endApp() {
    EXPECT_EQ(app_->end(SIGTERM, seconds(5)), 0) << app_->output();
}

void AppStory::checkOutput() {
    for (const std::string& line : app_->unexpectedOutput()) {
        const bool isExpected =
            std::any_of(expectedOutput_.begin(), expectedOutput_.end(),
                        [&](const auto& part) { return line.find(part) != std::string::npos; });
        EXPECT_TRUE(isExpected) << "unexpected output: " << line;
    }
}

void AppStory::keepTraces() {
    const auto folder = traceFolder();
    std::filesystem::create_directories(folder);
    desktop_->saveScreenshot(folder / "screen.png");
    if (app_) {
        std::ofstream(folder / "output") << app_->output();
        std::ofstream(folder / "debug.log") << app_->debugLog();
        std::ofstream(folder / "interface") << app_->interface().describe();
    }
}

} // namespace tandrel::test
