#include "Platform/Qt/QtClock.h"

#include <QEventLoop>
#include <QTimer>

#include <gmock/gmock.h>

#include <chrono>
#include <vector>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::IsEmpty;

/// Runs the event loop until `quit()`; gives up, and says so, after 10 s.
class Loop {
public:
    void quit() { loop_.quit(); }
    void run() {
        QTimer limit;
        limit.setSingleShot(true);
        QObject::connect(&limit, &QTimer::timeout, &loop_, [this] { loop_.exit(1); });
        limit.start(10s);
        EXPECT_EQ(loop_.exec(), 0) << "nothing happened for 10 s";
    }

private:
    QEventLoop loop_;
};

TEST(QtClock, FiresOnceAndNotBeforeItsTime) {
    QtClock clock;
    Loop loop;
    for (const auto delay : {1ms, 7ms, 30ms}) {
        const auto start = steady_clock::now();
        steady_clock::duration waited{};
        int calls = 0;
        const Handle handle = clock.after(delay, [&] {
            ++calls;
            waited = steady_clock::now() - start;
        });
        const Handle later = clock.after(3 * delay, [&] { loop.quit(); });
        loop.run();
        EXPECT_EQ(calls, 1);
        EXPECT_GE(waited, delay);
    }
}

TEST(QtClock, RoundsAFractionOfAMillisecondUp) {
    QtClock clock;
    Loop loop;
    const auto start = steady_clock::now();
    const Handle handle = clock.after(2ms + 1ns, [&] { loop.quit(); });
    loop.run();
    EXPECT_GE(steady_clock::now() - start, 2ms + 1ns);
}

TEST(QtClock, AZeroDelayIsTheNextTurnInTheOrderOfTheCalls) {
    QtClock clock;
    Loop loop;
    std::vector<int> order;
    std::vector<Handle> handles;
    for (int number = 0; number < 5; ++number) {
        handles.push_back(clock.after(0ns, [&order, number] { order.push_back(number); }));
    }
    handles.push_back(clock.after(-5s, [&] { order.push_back(5); }));
    handles.push_back(clock.after(0ns, [&] { loop.quit(); }));
    EXPECT_THAT(order, IsEmpty());
    loop.run();
    EXPECT_THAT(order, ElementsAre(0, 1, 2, 3, 4, 5));
}

TEST(QtClock, AZeroDelayAskedForByAnActionWaitsForAnotherTurn) {
    QtClock clock;
    Loop loop;
    std::vector<int> order;
    Handle inner;
    const Handle first = clock.after(0ns, [&] {
        order.push_back(1);
        inner = clock.after(0ns, [&] {
            order.push_back(3);
            loop.quit();
        });
    });
    const Handle second = clock.after(0ns, [&] { order.push_back(2); });
    loop.run();
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
}

TEST(QtClock, DestroyingTheHandleSilencesTheAction) {
    QtClock clock;
    Loop loop;
    int calls = 0;
    Handle once = clock.after(1ms, [&] { ++calls; });
    Handle repeated = clock.every(1ms, [&] { ++calls; });
    Handle zero = clock.after(0ns, [&] { ++calls; });
    once.reset();
    repeated.reset();
    zero.reset();
    const Handle end = clock.after(10ms, [&] { loop.quit(); });
    loop.run();
    EXPECT_EQ(calls, 0);
}

TEST(QtClock, AnActionMayDestroyItsOwnHandle) {
    QtClock clock;
    Loop loop;
    int calls = 0;
    Handle once;
    Handle repeated;
    once = clock.after(1ms, [&] {
        once.reset();
        ++calls;
    });
    repeated = clock.every(1ms, [&] {
        repeated.reset();
        ++calls;
    });
    const Handle end = clock.after(20ms, [&] { loop.quit(); });
    loop.run();
    EXPECT_EQ(calls, 2);
}

TEST(QtClock, AnActionMayDestroyTheHandleOfAnotherThatIsDue) {
    QtClock clock;
    Loop loop;
    int calls = 0;
    Handle second;
    const Handle first = clock.after(0ns, [&] { second.reset(); });
    second = clock.after(0ns, [&] { ++calls; });
    const Handle end = clock.after(5ms, [&] { loop.quit(); });
    loop.run();
    EXPECT_EQ(calls, 0);
}

TEST(QtClock, AHandleMayOutliveItsAction) {
    QtClock clock;
    Loop loop;
    Handle handle = clock.after(0ns, [&] { loop.quit(); });
    loop.run();
    handle.reset();
}

TEST(QtClock, RepeatsAtItsIntervalWithoutDrift) {
    QtClock clock;
    Loop loop;
    static constexpr int ticks = 10;
    const auto start = steady_clock::now();
    int calls = 0;
    const Handle handle = clock.every(5ms, [&] {
        ++calls;
        EXPECT_GE(steady_clock::now() - start, calls * 5ms - 1ms);
        if (calls == ticks) {
            loop.quit();
        }
    });
    loop.run();
    EXPECT_EQ(calls, ticks);
}

TEST(QtClock, TakesDelaysOfAnyLengthWithoutFiringEarly) {
    QtClock clock;
    Loop loop;
    int calls = 0;
    const auto count = [&calls] { ++calls; };
    std::vector<Handle> handles;
    handles.push_back(clock.after(24h * 365, count));
    handles.push_back(clock.after(Clock::Duration::max(), count));
    handles.push_back(clock.after(24h * 25, count));
    handles.push_back(clock.every(24h * 365, count));
    const Handle end = clock.after(10ms, [&] { loop.quit(); });
    loop.run();
    EXPECT_EQ(calls, 0);
}

} // namespace
} // namespace tandrel
