#include "Platform/Qt/EventLoops.h"

#include <QAbstractEventDispatcher>
#include <QByteArray>
#include <QCoreApplication>
#include <QThread>

#include <gmock/gmock.h>

#include <string>

namespace tandrel {
namespace {

constexpr const char* beside = "QT_NO_THREADED_GLIB";
constexpr const char* all = "QT_NO_GLIB";
constexpr const char* throughGLib = "QEventDispatcherGlib";

std::string loopOf(const QThread& thread) {
    return thread.eventDispatcher()->metaObject()->className();
}

/// The class of the loop that a thread gets which starts now.
std::string loopOfNewThread() {
    std::string name;
    QThread thread;
    QObject worker;
    worker.moveToThread(&thread);
    QObject::connect(
        &thread, &QThread::started, &worker,
        [&] {
            name = loopOf(thread);
            thread.quit();
        },
        Qt::DirectConnection);
    thread.start();
    thread.wait();
    return name;
}

class EventLoopsTest : public testing::Test {
protected:
    EventLoopsTest() {
        qunsetenv(beside);
        qunsetenv(all);
    }
};

TEST_F(EventLoopsTest, ThreadsWaitByThemselves) {
    usePlainEventLoops(PlainLoops::besideMain);
    EXPECT_NE(loopOfNewThread(), throughGLib);
    EXPECT_FALSE(qEnvironmentVariableIsSet(all));
}

TEST_F(EventLoopsTest, AllThreadsWaitByThemselves) {
    usePlainEventLoops(PlainLoops::everywhere);
    EXPECT_NE(loopOfNewThread(), throughGLib);
    EXPECT_EQ(qgetenv(all), QByteArrayLiteral("1"));
}

TEST_F(EventLoopsTest, AChoiceInTheEnvironmentStands) {
    const std::string usual = loopOfNewThread();
    qputenv(beside, QByteArrayLiteral(""));
    usePlainEventLoops(PlainLoops::besideMain);
    EXPECT_EQ(loopOfNewThread(), usual);
}

} // namespace
} // namespace tandrel
