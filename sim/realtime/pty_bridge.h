#pragma once
// An adapter model behind a real pseudo-terminal, so that a program opens it
// as it would open a serial port (end-to-end tests, the simulator program).
//
// The bridge opens a pty pair; the program opens the slave (slavePath(), or
// a comN link to it in the dosdevices folder). Bytes the program writes reach
// the model through an in-process serial line on a real-time scheduler, with
// wire time per byte at the rate the program set on its side (read from the
// master with tcgetattr), so a model sees a wrong rate and can treat the bytes
// as noise; the model's replies come back the same way and are written to the
// master. The model runs on the scheduler's thread only: change it while the
// bridge runs through scheduler().call().
//
// A model that unplugs its line (SerialLine::unplug, a USB-serial converter
// pulled out) hangs the pty up: the master closes, so the program's open
// slave reports a hang-up, and nothing more is relayed until stop().
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

#include "realtime/real_time_scheduler.h"
#include "models/serial_line.h"

namespace lp::sim {

class PtyBridge {
public:
    explicit PtyBridge(SerialDevice& device);
    ~PtyBridge();
    PtyBridge(const PtyBridge&) = delete;
    PtyBridge& operator=(const PtyBridge&) = delete;

    // Opens the pair and starts relaying. False with a reason when the
    // system has no pseudo-terminals to give.
    bool start(std::string* error = nullptr);
    // Stops relaying and closes the pair; the model is told the host closed.
    void stop();

    // Off by default: the model sees one host open from start() to stop().
    // On: the model sees the program's opens and closes of the slave as the
    // host opening and closing its port (DTR rising and dropping on a real
    // line), which a pseudo-terminal cannot signal otherwise; it hears
    // nothing while the program has the slave closed. Opens and closes are
    // followed through inotify; bytes written right after an open reach the
    // model after that open. Set before start().
    void setFollowProgramOpens(bool follow) { followOpens_ = follow; }

    // Off (0) by default: each byte from the model reaches the program when
    // its wire time is over. Otherwise the bridge plays a USB-serial
    // converter: what the model sends is held until `ms` have passed since
    // the first byte held, or until `bufferBytes` are held (an FTDI chip's
    // USB packet carries 62), and then goes to the program at once; the
    // program's bytes to the model are not held. Set before start().
    void setConverterTurnaround(int ms, size_t bufferBytes = kConverterPacketBytes)
    {
        turnaroundUs_ = ms > 0 ? int64_t{ms} * 1000 : 0;
        turnaroundBuffer_ = bufferBytes > 0 ? bufferBytes : 1;
    }
    static constexpr size_t kConverterPacketBytes = 62;

    // The device the program opens, such as /dev/pts/7; empty before start().
    const std::string& slavePath() const { return slavePath_; }
    RealTimeScheduler& scheduler() { return scheduler_; }
    // The rate the program's side was last seen at (0 before any byte).
    int programBaud() const { return programBaud_.load(); }

private:
    // The program's end of the line, on the scheduler's thread.
    class ProgramEnd final : public SerialHostEnd {
    public:
        explicit ProgramEnd(PtyBridge& bridge) : bridge_(bridge) {}
        int hostBaud() const override { return baud; }
        void deliver(uint8_t byte) override { bridge_.fromDevice(byte); }
        void unplug() override { bridge_.hangUp(); }
        int baud = 9600;

    private:
        PtyBridge& bridge_;
    };

    void setProgramOpen(bool open);
    void readLoop();
    void toDevice(const Bytes& bytes, int baud);
    void followOpens();
    void fromDevice(uint8_t byte);
    void releaseHeld();
    void hangUp();

    RealTimeScheduler scheduler_;
    ProgramEnd programEnd_{*this};
    std::unique_ptr<SerialLine> line_; // while the program has the slave open
    SerialDevice& device_;
    int master_ = -1;
    int slaveKeeper_ = -1; // keeps the slave side alive between the program's opens
    int wakePipe_[2] = {-1, -1};
    bool followOpens_ = false;
    int inotify_ = -1;
    int programOpens_ = 0; // the program's open descriptors of the slave
    std::string slavePath_;
    std::thread reader_;
    std::atomic<int> programBaud_{0};
    int64_t turnaroundUs_ = 0;
    size_t turnaroundBuffer_ = kConverterPacketBytes;
    Bytes held_;           // scheduler thread only
    uint64_t heldBatch_ = 0; // which batch a pending release belongs to
    bool running_ = false;
    bool hungUp_ = false;       // scheduler thread only
    bool masterClosed_ = false; // reader thread; stop() reads it after the join
};

// The baud rate of a termios speed constant (B9600 -> 9600); 0 when unknown.
int baudOfSpeed(unsigned speed);

// Creates (or replaces) the link `comN` in `folder` pointing at `target`, so
// that COMn maps to it. False with a reason on failure.
bool linkComPort(const std::string& folder, int port, const std::string& target, std::string* error = nullptr);

} // namespace lp::sim
