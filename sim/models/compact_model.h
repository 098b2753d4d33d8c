#pragma once
// The compact adapter ("B&B SIP") as its serial port sees it.
//
// Application mode. After power-up the application sleeps at its configured
// rate (the rate part of "DeviceParams", 57600 unless told otherwise) and
// acts on two frames only: the wake frame 5E 02 01 01 9E, which brings it to
// the working rate of 9600 baud, and the switch frame 5E 02 01 03 9C, which
// starts the loader. Awake at 9600 it answers the three queries:
//   5E 02 0D 01 92 -> 5F 0C 0D 01, the ten characters of the serial number
//   5E 02 0D 02 91 -> 5F 05 0D 02, three firmware version bytes
//   5E 02 0D 03 90 -> 5F 08 0D 03, boot major, boot minor, hardware major,
//                     hardware minor, two reserved zero bytes
// each reply ending with its check byte (byte sum zero modulo 256). When the
// host closes the port (DTR drops) the application falls asleep again at its
// configured rate.
//
// Loader mode. The loader runs at the configured rate (or loaderBaud) and
// stays in charge across port closes until the adapter is power-cycled: an
// adapter whose flash did not finish sits in its loader. It answers every
// full burst of eight "!" characters with "????" - the hand-shake that both
// the compact flash and the port search's second look (at 57600 baud) send.
// "####" starts a flash: the image is erased and records follow, each sent
// as ":" and the record's bytes (count, address high, address low, type,
// data, check byte). A record the loader takes (loader_records.h: check
// byte, type and shape, nothing after the end record) is written into the
// image (data records by address; types 02 and 04 set the segment or upper
// linear base, 01 marks the end) and answered with one "#" as soon as its
// last byte is in (ackLatencyUs). Any other record gets no answer, and a
// record left unfinished for kRecordGapUs is dropped. Once the end-of-file
// record is acknowledged the loader has the whole image: restartUs later
// the adapter restarts into the new application, asleep at its rate, and
// reports the version the image carries (firmware_image.h's stamp;
// firmwareAfterFlash overrides it). A flash that stops before its end
// leaves the adapter in its loader.
//
// Bytes at any other rate than the one the adapter listens at are noise: they
// spoil the frame in progress and are otherwise ignored. Replies leave
// kReplyLatencyUs after the last byte of the request and take wire time on
// the line.
//
// Faults for tests: silence (answers nothing), garbage (answers bytes that
// are no frame), a short reply (cut to a given length), a slow reply (held
// back by a given time); these touch the application's replies and the
// loader's "????". The loader's own faults are LoaderFaults. An adapter on
// another port than the remembered one is a matter of where the test plugs
// the model in.
#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ports/serial_port.h"
#include "models/serial_line.h"

namespace lp::sim {

class CompactModel final : public SerialDevice {
public:
    enum class Mode { Application, Loader };
    enum class Fault { None, Silence, Garbage, ShortReply, SlowReply };

    struct Config {
        int baud = 57600;   // where the application sleeps
        int loaderBaud = 0; // 0: the same as baud
        std::string serialNumber = "CL05A12345"; // sent as ten characters
        std::array<uint8_t, 3> firmware = {0x01, 0x07, 0x12};
        uint8_t bootMajor = 1, bootMinor = 2;
        uint8_t hardwareMajor = 1, hardwareMinor = 10;
        Mode mode = Mode::Application;
        // How long after a record's last byte its "#" leaves.
        int64_t ackLatencyUs = 0;
        // From the end-of-file record's "#" until the new application runs
        // (0: at once, before the "#" has reached the program).
        int64_t restartUs = 0;
        // The application version after a completed flash whatever the image
        // says (a wrong version afterwards); unset: the image's stamp.
        std::optional<std::array<uint8_t, 3>> firmwareAfterFlash;
    };

    // The loader's faults. Records are numbered from 1 in the order the
    // loader takes them after "####".
    struct LoaderFaults {
        // The answer to a full "!" burst: "????"; "??" is a short one, and
        // nothing at all is a loader that does not answer.
        Bytes readyAnswer{'?', '?', '?', '?'};
        // The "#" of record slowRecord (0: of every record) leaves slowAckMs
        // later than it would.
        int64_t slowRecord = 0;
        int slowAckMs = 0;
        // Record refusedRecord is not written and answered with refusedReply
        // (nothing when empty) instead of "#".
        int64_t refusedRecord = 0;
        Bytes refusedReply;
        // From record silentFromRecord on the loader takes nothing in and
        // says nothing.
        int64_t silentFromRecord = 0;
        // Record garbageRecord is not written and answered with bytes that
        // hold no "#".
        int64_t garbageRecord = 0;
        // As record dropLinkAtRecord arrives the line goes away (a USB-serial
        // converter pulled out, SerialLine::unplug); the loader stays.
        int64_t dropLinkAtRecord = 0;
        // The restart after the end-of-file record never ends: the adapter
        // answers nothing any more, neither loader nor application.
        bool noRestart = false;
    };

    static constexpr int kWorkingBaud = 9600;
    static constexpr int64_t kReplyLatencyUs = 2000;
    static constexpr size_t kBurstLength = 8;
    static constexpr size_t kStartLength = 4;
    static constexpr int64_t kRecordGapUs = 100'000;

    CompactModel();
    explicit CompactModel(Config config);
    ~CompactModel() override;

    // Faults. A short reply keeps `length` bytes; a slow one leaves `delayMs`
    // later than it would.
    void setFault(Fault fault) { fault_ = fault; }
    void setShortReplyLength(size_t length) { shortLength_ = length; }
    void setSlowReplyDelayMs(int delayMs) { slowDelayMs_ = delayMs; }
    Fault fault() const { return fault_; }
    void setLoaderFaults(LoaderFaults faults) { loaderFaults_ = std::move(faults); }
    LoaderFaults& loaderFaults() { return loaderFaults_; }

    // Back to a sleeping application (power off and on).
    void powerCycle();
    // Straight into a mode, as a test's adapter that was left there (asleep
    // or at the start of its loader); a restart still to come is off.
    void setMode(Mode mode);
    // Not answering at all since a restart that never ended (noRestart).
    bool hung() const { return hung_; }

    Mode mode() const { return mode_; }
    bool awake() const { return awake_; }
    // The rate the adapter hears at now.
    int listeningBaud() const;
    const Config& config() const { return config_; }

    // What reached the adapter, for assertions: every whole, well-formed
    // frame (check byte included) and counts of the rest.
    std::vector<Bytes> framesReceived;
    int noiseBytes = 0;
    int burstsAnswered = 0;
    int repliesSent = 0;

    // The loader's side of a flash.
    bool receivingRecords() const { return receiving_; }
    int startsReceived = 0;        // "####" heard
    int64_t recordsReceived = 0;   // records with a good check byte
    int64_t badRecords = 0;        // records refused (check byte, type, shape)
    int64_t acknowledgements = 0;  // "#" sent
    bool endRecordReceived = false;
    std::map<uint32_t, uint8_t> image; // what the flash wrote, by address
    int restarts = 0;                  // into a flashed application (or not, noRestart)

    // SerialDevice
    void hostOpened(SerialLine& line) override;
    void hostClosed() override;
    void received(uint8_t byte, int hostBaud) override;

private:
    void applicationByte(uint8_t byte);
    void applicationFrame(const Bytes& frame);
    void loaderByte(uint8_t byte);
    void loaderRecord(const Bytes& record);
    void writeRecord(const Bytes& body);
    void restartIntoApplication();
    void reply(Bytes bytes, int baud);
    void sendAfter(Bytes bytes, int baud, int64_t delayUs);

    Config config_;
    Mode mode_;
    bool awake_ = false;
    Fault fault_ = Fault::None;
    size_t shortLength_ = 5;
    int slowDelayMs_ = 400;
    SerialLine* line_ = nullptr;
    // Replies scheduled for a line that has since closed must not go out.
    std::shared_ptr<int> lineToken_;
    Bytes frame_;
    size_t bangs_ = 0;
    size_t hashes_ = 0;
    bool receiving_ = false;
    Bytes record_;
    int64_t recordLastByteUs_ = 0;
    uint32_t base_ = 0; // segment or upper linear base of the data records
    LoaderFaults loaderFaults_;
    uint32_t garbageSeed_ = 0x2545F491u;
    bool hung_ = false;
    // A restart planned for a processor that has since been power-cycled
    // (or for a model that has gone) does not happen.
    uint64_t epoch_ = 0;
    std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

} // namespace lp::sim
