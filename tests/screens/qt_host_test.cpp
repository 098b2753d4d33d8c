// The real host must keep the split: a delay runs none of the
// program (no clicks, no timer ticks) yet lets the window repaint; a wait runs
// everything and wakes as soon as its condition holds. Neither may burn a core.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QKeyEvent>
#include <QTimer>
#include <QWidget>

#include <atomic>
#include <chrono>
#include <ctime>
#include <thread>

#include "platform/qt/qt_host.h"

using namespace lp;
using Clock = std::chrono::steady_clock;

namespace {

double cpuSeconds()
{
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

double msSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

class Probe final : public QWidget {
public:
    explicit Probe(QtHost& host) : host_(host) { resize(40, 40); }
    int keys = 0;
    int paints = 0;
    int paintsDuringDelay = 0;

protected:
    void keyPressEvent(QKeyEvent*) override { ++keys; }
    void paintEvent(QPaintEvent*) override
    {
        ++paints;
        if (host_.delayInProgress())
            ++paintsDuringDelay;
    }

private:
    QtHost& host_;
};

} // namespace

TEST(QtHost, WaitWakesOnEventsAndPolledConditionsAndEndsAtTheDeadline)
{
    QtHost host;

    bool flag = false;
    QTimer::singleShot(30, [&] { flag = true; });
    auto start = Clock::now();
    EXPECT_TRUE(host.waitUntil([&] { return flag; }, 10000));
    EXPECT_LT(msSince(start), 5000);

    // Set by another thread: no Qt event announces it, only polling sees it.
    std::atomic<bool> polled = false;
    std::thread setter([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        polled = true;
    });
    start = Clock::now();
    EXPECT_TRUE(host.waitUntil([&] { return polled.load(); }, 10000));
    EXPECT_LT(msSince(start), 5000);
    setter.join();

    // A handler may wait in turn; both waits see their own condition.
    bool inner = false, outer = false, innerSeen = false;
    QTimer::singleShot(10, [&] {
        QTimer::singleShot(20, [&] { inner = true; });
        innerSeen = host.waitUntil([&] { return inner; }, 10000);
        outer = true;
    });
    EXPECT_TRUE(host.waitUntil([&] { return outer; }, 10000));
    EXPECT_TRUE(innerSeen);

    const double cpu0 = cpuSeconds();
    start = Clock::now();
    EXPECT_FALSE(host.waitUntil([] { return false; }, 400));
    const double wall = msSince(start);
    EXPECT_GE(wall, 399);
    EXPECT_LT((cpuSeconds() - cpu0) * 1000, wall * 0.5) << "the wait spins";

    int checks = 0;
    EXPECT_FALSE(host.waitUntil([&] { return ++checks > 100; }, 0));
    EXPECT_FALSE(host.waitUntil([] { return false; }, -5));
}

TEST(QtHost, DelayHoldsTicksAndInputButRepaints)
{
    QtHost host;
    Probe probe(host);
    probe.show();
    host.pumpMessages();

    int ticks = 0;
    auto timer = host.createTimer([&] { ++ticks; });
    timer->setInterval(40);
    timer->setEnabled(true);
    QCoreApplication::postEvent(&probe, new QKeyEvent(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier, "a"));
    QCoreApplication::postEvent(&probe, new QKeyEvent(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier, "a"));
    QTimer::singleShot(50, [&] { probe.update(); }); // Qt's own work still runs
    const int paintsBefore = probe.paints;

    const double cpu0 = cpuSeconds();
    auto start = Clock::now();
    host.sleepMilliseconds(400);
    const double wall = msSince(start);
    EXPECT_GE(wall, 399);
    EXPECT_LT((cpuSeconds() - cpu0) * 1000, wall * 0.5) << "the delay spins";
    EXPECT_EQ(ticks, 0);
    EXPECT_EQ(probe.keys, 0);
    EXPECT_GT(probe.paints, paintsBefore);
    EXPECT_GT(probe.paintsDuringDelay, 0);

    host.pumpMessages();
    EXPECT_EQ(ticks, 1); // ten intervals passed; one tick comes
    EXPECT_EQ(probe.keys, 2); // every held key, none twice

    // Running normally again: ticks keep coming, one per interval.
    EXPECT_TRUE(host.waitUntil([&] { return ticks >= 3; }, 10000));

    // Disabling drops a held tick; so does destroying the timer.
    host.sleepMilliseconds(100);
    timer->setEnabled(false);
    const int held = ticks;
    host.pumpMessages();
    EXPECT_EQ(ticks, held);
    timer->setEnabled(true);
    host.sleepMilliseconds(100);
    timer.reset();
    host.pumpMessages();
    EXPECT_EQ(ticks, held);
}
