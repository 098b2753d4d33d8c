#include "platform/qt/qt_serial_port.h"

#include <QSerialPort>

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "ports/logger.h"
#include "platform/rs232_presence.h"
#include "platform/serial_port_map.h"

#ifndef _WIN32
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <unistd.h>
#endif

namespace lp {

namespace {

// Large enough for any reply or flash acknowledgement stream, small enough
// that a device that floods the line cannot eat the machine's memory.
constexpr qint64 kReadBufferBytes = 1 << 20;

// The path the device really has, so that two links to one device lock the
// same thing.
std::string resolved(const std::string& path)
{
    std::error_code ec;
    auto real = std::filesystem::canonical(path, ec);
    return ec ? path : real.string();
}

} // namespace

QtSerialPort::QtSerialPort(Logger* log, std::shared_ptr<RefusalNotes> notes, SerialLineFlags* flags)
    : log_(log), notes_(notes ? std::move(notes) : std::make_shared<RefusalNotes>()),
      lowLatency_(flags ? *flags : systemSerialLineFlags())
{
}

QtSerialPort::~QtSerialPort() { setPortOpen(false); }

bool QtSerialPort::portOpen() const { return port_impl_ && port_impl_->isOpen(); }

bool QtSerialPort::applySettings()
{
    QSerialPort& p = *port_impl_;
    bool ok = p.setBaudRate(settings_.baud);
    ok = ok && p.setDataBits(static_cast<QSerialPort::DataBits>(settings_.dataBits));
    QSerialPort::Parity parity = QSerialPort::NoParity;
    switch (settings_.parity) {
    case 'e': parity = QSerialPort::EvenParity; break;
    case 'o': parity = QSerialPort::OddParity; break;
    case 'm': parity = QSerialPort::MarkParity; break;
    case 's': parity = QSerialPort::SpaceParity; break;
    default: break;
    }
    ok = ok && p.setParity(parity);
    ok = ok && p.setStopBits(settings_.stopBits == 20   ? QSerialPort::TwoStop
                             : settings_.stopBits == 15 ? QSerialPort::OneAndHalfStop
                                                        : QSerialPort::OneStop);
    ok = ok && p.setFlowControl(QSerialPort::NoFlowControl);
    if (!ok) {
        std::string why = p.errorString().toStdString();
        p.clearError();
        return refuse("Invalid property value: " + settingsText_ + " (" + why + ")");
    }
    return true;
}

void QtSerialPort::applyModemLines()
{
    if (!portOpen())
        return;
    // A pseudo-terminal has no modem lines and refuses both; the adapter
    // does not need them there, so the refusal is dropped.
    if (!port_impl_->setRequestToSend(rts_) || !port_impl_->setDataTerminalReady(dtr_))
        port_impl_->clearError();
}

bool QtSerialPort::setPortOpen(bool open)
{
    if (!open) {
        if (portOpen())
            closeLine();
        return true;
    }
    if (portOpen())
        return refuse("Port already open");
    std::string path = devicePathForPort(port_);
    if (path.empty())
        return refuse("Invalid port number: COM" + std::to_string(port_) + " is not mapped to a device");
    devicePath_ = resolved(path);
    if (!port_impl_) {
        port_impl_ = std::make_unique<QSerialPort>();
        port_impl_->setReadBufferSize(kReadBufferBytes);
    }
    QSerialPort& p = *port_impl_;
    p.setPortName(QString::fromStdString(devicePath_));
    if (!p.open(QIODevice::ReadWrite)) {
        std::string why = p.errorString().toStdString();
        p.clearError();
        std::string reason;
        if (!canOpenDevice(devicePath_, &reason))
            why = reason; // names the group to join on "permission denied"
        if (log_)
            log_->warning(LogSubsystem::Platform, "COM" + std::to_string(port_) + ": " + why);
        return refuse(why);
    }
#ifndef _WIN32
    if (::flock(static_cast<int>(p.handle()), LOCK_EX | LOCK_NB) != 0) {
        p.close();
        std::string why = devicePath_ + ": in use by another program";
        if (log_)
            log_->info(LogSubsystem::Platform, "COM" + std::to_string(port_) + ": " + why);
        return refuse("Port already open: " + why);
    }
#endif
    if (!applySettings()) {
        p.close();
        return false;
    }
    applyModemLines();
    requestLowLatency();
    p.clear(); // nothing from before our time
    p.clearError();
    return true;
}

namespace {

// The descriptor the line calls take; Windows has no such call (-1).
int descriptorOf(QSerialPort& port)
{
#ifdef _WIN32
    (void)port;
    return -1;
#else
    return static_cast<int>(port.handle());
#endif
}

} // namespace

void QtSerialPort::requestLowLatency()
{
    const int fd = descriptorOf(*port_impl_);
    const std::string name = "COM" + std::to_string(port_) + " (" + devicePath_ + ")";
    std::string why;
    const auto outcome = lowLatency_.request(fd, why);
    if (outcome == LowLatencyRequest::Outcome::Refused) {
        // A pty or a built-in UART: it works as it is; said once per line.
        if (log_ && notes_->first(devicePath_))
            log_->info(LogSubsystem::Platform, name + ": no low-latency mode (" + why + "); the port works as it is");
        return;
    }
    if (!log_)
        return;
    std::string text = name + ": low-latency mode "
                       + (outcome == LowLatencyRequest::Outcome::TurnedOn ? "on" : "was already on");
    if (const int timer = latencyTimerMs(devicePath_); timer >= 0)
        text += ", latency timer " + std::to_string(timer) + " ms";
    log_->info(LogSubsystem::Platform, text);
}

void QtSerialPort::closeLine()
{
    lowLatency_.restore(descriptorOf(*port_impl_));
    port_impl_->close(); // closing the descriptor drops the lock too
}

bool QtSerialPort::dropIfGone()
{
    if (!portOpen())
        return false;
    QSerialPort& p = *port_impl_;
    bool gone = false;
    std::string how;
#ifdef _WIN32
    // A removed device fails every call with ERROR_DEVICE_REMOVED or
    // ERROR_BAD_COMMAND, which Qt reports as a resource error.
    if (p.error() == QSerialPort::ResourceError) {
        gone = true;
        how = p.errorString().toStdString();
    }
#else
    // A pulled USB converter hangs its tty up (as does a pty whose other
    // side closed): reads give nothing or EIO from then on, for ever. Qt's
    // resource error alone is no proof here: it also stands for EAGAIN.
    pollfd line{static_cast<int>(p.handle()), POLLIN, 0};
    std::error_code ec;
    if (::poll(&line, 1, 0) > 0 && (line.revents & (POLLHUP | POLLERR | POLLNVAL))) {
        gone = true;
        how = (line.revents & POLLHUP) ? "hang-up" : "line error";
    } else if (p.error() == QSerialPort::ResourceError && !std::filesystem::exists(devicePath_, ec)) {
        gone = true;
        how = "the device node is gone";
    }
#endif
    if (!gone)
        return false;
    const std::string why = devicePath_ + ": the device has gone away (" + how + ")";
    if (log_)
        log_->warning(LogSubsystem::Platform, "COM" + std::to_string(port_) + ": " + why + "; port closed");
    lowLatency_.restore(-1, true);
    p.close();
    p.clearError();
    lastError_ = why;
    return true;
}

bool QtSerialPort::output(const Bytes& bytes)
{
    if (!portOpen())
        return refuse("Operation valid only when the port is open");
    QSerialPort& p = *port_impl_;
    if (dropIfGone())
        return false;
    qint64 written = p.write(reinterpret_cast<const char*>(bytes.data()), static_cast<qint64>(bytes.size()));
    if (written != static_cast<qint64>(bytes.size())) {
        if (dropIfGone())
            return false;
        std::string why = p.errorString().toStdString();
        p.clearError();
        return refuse("Write failed: " + why);
    }
    // No event loop runs during the delay that follows: hand the bytes to
    // the OS now. A device that takes nothing for two seconds is stuck.
    p.flush();
    for (int tries = 0; p.bytesToWrite() > 0 && tries < 20; ++tries) {
        if (!p.waitForBytesWritten(100)) {
            if (dropIfGone())
                return false;
            p.clearError();
        }
    }
    if (p.bytesToWrite() > 0)
        return dropIfGone() ? false : refuse("Write timed out");
    return true;
}

void QtSerialPort::pullFromSystem()
{
    if (!portOpen())
        return;
    if (!port_impl_->waitForReadyRead(0) && !dropIfGone())
        port_impl_->clearError(); // a time-out here only means "nothing new"
}

int QtSerialPort::inBufferCount()
{
    if (!portOpen())
        return 0;
    pullFromSystem();
    if (!portOpen())
        return 0; // the line went away
    qint64 n = port_impl_->bytesAvailable();
    return n > INT32_MAX ? INT32_MAX : static_cast<int>(n);
}

Bytes QtSerialPort::input()
{
    if (!portOpen())
        return {};
    pullFromSystem();
    if (!portOpen())
        return {};
    QByteArray data = port_impl_->readAll();
    return Bytes(data.begin(), data.end());
}

std::unique_ptr<SerialPort> QtSerialPorts::create() { return std::make_unique<QtSerialPort>(log_, notes_); }

bool QtSerialPorts::isRs232Present(int32_t port)
{
    return isRs232PortPresent(port);
}

bool QtSerialPorts::canOpen(const std::string& deviceName)
{
    std::string path = devicePathForPort(portOfDeviceName(deviceName));
    if (path.empty())
        return false;
    path = resolved(path);
    std::string reason;
    if (!canOpenDevice(path, &reason)) {
        if (log_)
            log_->info(LogSubsystem::Platform, deviceName + ": " + reason);
        return false;
    }
    return !serialDeviceLockedElsewhere(path);
}

} // namespace lp
