#include "platform/qt/qt_host.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QEvent>
#include <QEventLoop>
#include <QTime>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <thread>

namespace lp {

namespace {

// Longest sleep between two looks at the window during a delay: short enough
// that repaints feel immediate, long enough to cost next to no CPU.
constexpr int kDelaySliceMs = 15;
// Longest block in a wait before polled conditions are checked again.
constexpr int kWaitPollMs = 5;

constexpr QEventLoop::ProcessEventsFlags kDelayEvents =
    QEventLoop::ExcludeUserInputEvents | QEventLoop::ExcludeSocketNotifiers;

bool isUserInput(QEvent::Type type)
{
    switch (type) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
    case QEvent::NonClientAreaMouseButtonPress:
    case QEvent::NonClientAreaMouseButtonRelease:
    case QEvent::NonClientAreaMouseButtonDblClick:
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::Wheel:
    case QEvent::ContextMenu:
    case QEvent::TouchBegin:
    case QEvent::TouchUpdate:
    case QEvent::TouchEnd:
    case QEvent::TouchCancel:
    case QEvent::TabletPress:
    case QEvent::TabletMove:
    case QEvent::TabletRelease:
        return true;
    default:
        return false;
    }
}

} // namespace

// Input from the window system stays queued during a delay by itself (the
// event-loop flags). Input that reaches the program as posted events would
// not; this filter catches it and posts it again once the delay is over.
class QtHost::InputHold final : public QObject {
public:
    void start()
    {
        if (auto* app = QCoreApplication::instance())
            app->installEventFilter(this);
    }
    void finish()
    {
        if (auto* app = QCoreApplication::instance())
            app->removeEventFilter(this);
        auto held = std::move(held_);
        held_.clear();
        for (auto& [receiver, event] : held) {
            if (receiver)
                QCoreApplication::postEvent(receiver, event.release());
        }
    }

protected:
    bool eventFilter(QObject* receiver, QEvent* event) override
    {
        if (!isUserInput(event->type()))
            return false;
        // Accepted, so that Qt does not offer it to the parents as well; the
        // copy goes to the first receiver and propagates from there later.
        event->accept();
        held_.emplace_back(QPointer<QObject>(receiver), std::unique_ptr<QEvent>(event->clone()));
        return true;
    }

private:
    std::vector<std::pair<QPointer<QObject>, std::unique_ptr<QEvent>>> held_;
};

// A window timer on a QTimer. A tick that falls due while the host is in a
// delay is noted, not run; one tick is delivered when messages run again,
// however many intervals passed (a window timer's ticks coalesce).
class QtHostTimer final : public HostTimer {
public:
    QtHostTimer(QtHost& host, std::function<void()> onTick) : host_(host), onTick_(std::move(onTick))
    {
        timer_.setTimerType(Qt::PreciseTimer);
        QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] { due(); });
        host_.timers_.push_back(this);
    }
    ~QtHostTimer() override
    {
        auto& list = host_.timers_;
        list.erase(std::remove(list.begin(), list.end(), this), list.end());
    }

    void setInterval(int32_t ms) override
    {
        interval_ = ms;
        if (enabled_)
            restart();
    }
    int32_t interval() const override { return interval_; }
    void setEnabled(bool enabled) override
    {
        enabled_ = enabled;
        if (enabled)
            restart();
        else {
            timer_.stop();
            pending_ = false;
        }
    }
    bool enabled() const override { return enabled_; }

    // Called by the host when a delay ends.
    void releaseHeldTick()
    {
        if (!pending_)
            return;
        // Queued on the QTimer, so it is dropped if the timer goes away first.
        QMetaObject::invokeMethod(
            &timer_,
            [this] {
                if (!pending_ || host_.delayInProgress())
                    return; // already delivered, or held again until the next delay ends
                // The next tick is a full interval away, as if this one had
                // just fallen due; a second tick in the same turn would be
                // the coalesced ticks coming back.
                restart();
                tick();
            },
            Qt::QueuedConnection);
    }

private:
    void restart()
    {
        pending_ = false;
        // An interval of 0 leaves a window timer enabled but idle.
        if (interval_ > 0)
            timer_.start(interval_);
        else
            timer_.stop();
    }
    void due()
    {
        if (host_.delayInProgress()) {
            pending_ = true;
            return;
        }
        pending_ = false;
        tick();
    }
    void tick()
    {
        auto onTick = onTick_; // the handler may destroy this timer
        onTick();
    }

    QtHost& host_;
    std::function<void()> onTick_;
    QTimer timer_;
    int32_t interval_ = 0;
    bool enabled_ = false;
    bool pending_ = false;
};

QtHost::QtHost() : inputHold_(std::make_unique<InputHold>()) {}

QtHost::~QtHost() = default;

int32_t QtHost::tickCount()
{
    const auto ms =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch());
    return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(ms.count())));
}

double QtHost::secondsSinceMidnight()
{
    // QTime::currentTime() looks the time zone up again on every call (a
    // file system stat on Linux), and flashes read the timer once a record.
    // The zone's offset is taken at most once a second instead; a change of
    // zone or daylight-saving time shows within that second.
    const qint64 utcMs = QDateTime::currentMSecsSinceEpoch();
    const auto now = std::chrono::steady_clock::now();
    if (!offsetKnown_ || now - offsetTakenAt_ >= std::chrono::seconds(1)) {
        offsetMs_ = static_cast<qint64>(QDateTime::fromMSecsSinceEpoch(utcMs).offsetFromUtc()) * 1000;
        offsetTakenAt_ = now;
        offsetKnown_ = true;
    }
    constexpr qint64 kMsPerDay = 86400000;
    qint64 local = (utcMs + offsetMs_) % kMsPerDay;
    if (local < 0)
        local += kMsPerDay;
    return static_cast<double>(local) / 1000.0;
}

void QtHost::beginDelay()
{
    if (delayDepth_++ == 0)
        inputHold_->start();
}

void QtHost::endDelay()
{
    if (--delayDepth_ > 0)
        return;
    inputHold_->finish();
    // Copy: a released tick only queues a call, but stay safe if that changes.
    auto timers = timers_;
    for (auto* timer : timers)
        timer->releaseHeldTick();
}

void QtHost::sleepMilliseconds(int32_t ms)
{
    if (ms <= 0)
        return;
    using clock = std::chrono::steady_clock;
    const auto deadline = clock::now() + std::chrono::milliseconds(ms);
    const bool haveLoop = QCoreApplication::instance() != nullptr;
    if (haveLoop)
        beginDelay();
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::microseconds>(deadline - clock::now());
        if (left.count() <= 0)
            break;
        std::this_thread::sleep_for(std::min<std::chrono::microseconds>(left, std::chrono::milliseconds(kDelaySliceMs)));
        if (haveLoop && clock::now() < deadline)
            QCoreApplication::processEvents(kDelayEvents);
    }
    if (haveLoop)
        endDelay();
}

void QtHost::pumpMessages()
{
    if (QCoreApplication::instance())
        QCoreApplication::processEvents(QEventLoop::AllEvents);
}

bool QtHost::waitUntil(const std::function<bool()>& condition, int32_t timeoutMs)
{
    using clock = std::chrono::steady_clock;
    const auto deadline = clock::now() + std::chrono::milliseconds(std::max<int32_t>(timeoutMs, 0));
    pumpMessages();
    if (condition())
        return true;
    const bool haveLoop = QCoreApplication::instance() != nullptr;
    // Without a timer the loop would sleep until some unrelated event came.
    QTimer poll;
    if (haveLoop) {
        poll.setTimerType(Qt::PreciseTimer);
        poll.start(kWaitPollMs);
    }
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - clock::now());
        if (left.count() <= 0)
            break;
        if (haveLoop) {
            if (left.count() < kWaitPollMs && poll.interval() != left.count())
                poll.start(static_cast<int>(left.count()));
            QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
        } else {
            std::this_thread::sleep_for(std::min<std::chrono::milliseconds>(left, std::chrono::milliseconds(kWaitPollMs)));
        }
        if (condition())
            return true;
    }
    return condition();
}

std::unique_ptr<HostTimer> QtHost::createTimer(std::function<void()> onTick)
{
    return std::make_unique<QtHostTimer>(*this, std::move(onTick));
}

} // namespace lp
