#pragma once
// The Host on the Qt event loop.
//
// A delay sleeps instead of spinning. A busy wait would keep the window
// from handling anything, so nothing of the program ran during it; sleeping
// keeps that result without burning a core. Between short sleeps the delay
// lets Qt repaint (posted paint and layout events) but holds back clicks and
// keys, socket and serial notifications and the ticks of our timers, so the
// window does not look frozen during a 1750 ms delay and the procedures still
// see what a busy wait saw.
//
// A wait blocks in the event loop with everything running, the way the
// a message-pumping loop does, and wakes at least every few milliseconds to
// re-check conditions that are polled (serial input counts).
#include <QObject>
#include <QPointer>

#include <chrono>
#include <memory>
#include <utility>
#include <vector>

#include "ports/host.h"

class QEvent;

namespace lp {

class QtHostTimer;

class QtHost final : public Host {
public:
    QtHost();
    ~QtHost() override;
    QtHost(const QtHost&) = delete;
    QtHost& operator=(const QtHost&) = delete;

    int32_t tickCount() override;
    double secondsSinceMidnight() override;
    void sleepMilliseconds(int32_t ms) override;
    void pumpMessages() override;
    bool waitUntil(const std::function<bool()>& condition, int32_t timeoutMs) override;
    std::unique_ptr<HostTimer> createTimer(std::function<void()> onTick) override;

    // True while a delay runs (delays nest when a paint handler delays).
    bool delayInProgress() const { return delayDepth_ > 0; }

private:
    friend class QtHostTimer;
    class InputHold;

    void beginDelay();
    void endDelay();

    int delayDepth_ = 0;
    // The time zone's offset for secondsSinceMidnight(), and when it was taken.
    bool offsetKnown_ = false;
    qint64 offsetMs_ = 0;
    std::chrono::steady_clock::time_point offsetTakenAt_;
    std::vector<QtHostTimer*> timers_;
    std::unique_ptr<InputHold> inputHold_;
};

} // namespace lp
