#pragma once
// Low-latency mode of a serial line. A USB-serial converter holds what the
// adapter sends until its latency timer runs out (16 ms by default for the
// FTDI chips), and the flash waits for one acknowledgement per record, so
// that timer, not the wire, would set the flash's pace. Linux drivers lower
// it when asked for low latency (the ASYNC_LOW_LATENCY flag of
// TIOCGSERIAL/TIOCSSERIAL); the port asks on open and puts the line's own
// setting back on close. Lines without the setting (a pseudo-terminal, most
// built-in UARTs) refuse, which changes nothing. Windows has no portable
// call: the FTDI driver keeps the timer in the port's advanced properties.
#include <memory>
#include <mutex>
#include <set>
#include <string>

namespace lp {

// The line calls a request makes; the system's own, or a test's.
class SerialLineFlags {
public:
    virtual ~SerialLineFlags() = default;
    // Whether low latency is on. False, with the reason, when the driver
    // has no such setting.
    virtual bool lowLatency(int fd, bool& on, std::string& why) = 0;
    virtual bool setLowLatency(int fd, bool on, std::string& why) = 0;
};

// TIOCGSERIAL/TIOCSSERIAL on Linux; elsewhere every call refuses.
SerialLineFlags& systemSerialLineFlags();

// The driver's latency timer in ms (the latency_timer file that FTDI
// converters have under /sys/class/tty/<name>/device), -1 when there is none.
int latencyTimerMs(const std::string& devicePath, const std::string& sysRoot = "/sys");

// One open line's request, from open to close.
class LowLatencyRequest {
public:
    enum class Outcome { TurnedOn, AlreadyOn, Refused };

    explicit LowLatencyRequest(SerialLineFlags& flags) : flags_(flags) {}

    // Asks for low latency on the open descriptor; `why` says why a refusal
    // came. Forgets any earlier request.
    Outcome request(int fd, std::string& why);
    // Puts back the setting request() found, when it changed it; before the
    // descriptor closes. A line that has gone away is not asked.
    void restore(int fd, bool lineGone = false);

private:
    SerialLineFlags& flags_;
    bool changed_ = false;
};

// The devices whose refusal has been logged, so that a port reopened for
// every step of a flash says it once.
class RefusalNotes {
public:
    // True the first time a device is named.
    bool first(const std::string& device);

private:
    std::mutex mutex_;
    std::set<std::string> noted_;
};

} // namespace lp
