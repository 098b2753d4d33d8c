#pragma once
// What the Summary screen shows and how it reads it, without widgets: the
// rows and heading of each adapter kind, the readings of the
// second-generation and compact adapters, and the wireless exchange over
// the screen's socket. The screen supplies a SummaryView (its rows, the main
// window's enabling and the connecting dialog); everything else goes
// through the context's ports.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/context.h"
#include "ports/choice_list.h"
#include "ports/serial_port.h"
#include "ports/tcp_socket.h"

namespace lp {

// Device kinds.
inline constexpr const char* kKindLP2 = "LPII SIP";
inline constexpr const char* kKindCompact = "B&B SIP";
inline constexpr const char* kKindWireless = "WLP";

// Rows of the wireless layout.
namespace WLPRow {
inline constexpr int Adapter = 1, Address = 2, Serial = 3, Hardware = 4, Application = 5, Boot = 6, Driver = 7;
}

// The row the Summary adds below an adapter's rows for a state that they
// alone do not tell and that the technician can put right: the adapter
// answers from its loader, not from its application.
inline constexpr const char* kAdapterStateCaption = "Adapter State";
// Its text for an adapter found in its loader at `where` (COM7, an address).
std::string AdapterInLoaderText(const std::string& where);

struct SummaryLayout {
    std::string heading;               // lblAdapterName
    std::vector<std::string> captions; // rows 1.. in order
};

// The heading and row captions of a device kind; none for another text.
SummaryLayout SummaryLayoutFor(const std::string& deviceKind);

// The device kind the screen shows: "WLP" in the wireless-only edition,
// else "PrevAdapter" read again.
std::string SummaryDeviceKind(Context& ctx);

// What the readings do to the screen.
class SummaryView {
public:
    virtual ~SummaryView() = default;
    // Rows counted from 1; a row the layout does not have is ignored.
    virtual void setRowValue(int row, const std::string& value) = 0;
    virtual std::string rowValue(int row) const = 0;
    virtual void setMainWindowEnabled(bool enabled) = 0;
    // Shows the connecting dialog without waiting, owned by the main window.
    virtual void showConnectingDialog(const std::string& adapterName) = 0;
    virtual void unloadConnectingDialog() = 0;
    // A known state of the adapter (AdapterInLoaderText), shown as a row of
    // its own after the layout's rows; an empty text takes it away.
    virtual void showAdapterState(const std::string& text) { (void)text; }
};

// The serial IP's port: the number after the first "M" of the port name
// ("COM12" gives 12); 0 when there is none or it does not fit.
int16_t SerialIpPortNumber(const std::string& portName);

// The second-generation adapter: driver version into row 4 (and
// g_strLP2DriverVersion), the three versions of the driver's command, and
// the serial IP's application version into row 5. Application and boot
// versions "255.255" are empty slots, shown as "Not Present".
void ReadLp2Summary(Context& ctx, SerialPort& Connection, SummaryView& view);

// The FTDI driver file beside the compact adapter, in the Windows directory.
std::string CompactDriverFile(Context& ctx);

// The compact adapter: the driver file's version into row 4, then hardware,
// application version and serial number into rows 1-3 with the connecting
// dialog shown and the main window disabled while the adapter is read. An
// adapter whose loader answers keeps "Not Present" rows and gets the state.
void ReadCompactSummary(Context& ctx, SerialPort& Connection, SummaryView& view);

// A wireless request: 5E 02 0D item and the check byte.
Bytes WirelessSummaryRequest(uint8_t item);

// The wireless adapter's exchange over the screen's socket: connect, wait
// (letting messages run) until connected, failed or cancelled, then ask
// the boot, application and hardware versions one after the other as the
// replies come in. An acknowledgement where a version should be is the
// adapter's loader answering: the rows stay "Not Present" and the view gets
// the state.
class WirelessSummaryReader {
public:
    // The socket is made from ctx.ports.tcpSockets (none without it).
    WirelessSummaryReader(Context& ctx, SummaryView& view);
    ~WirelessSummaryReader();
    WirelessSummaryReader(const WirelessSummaryReader&) = delete;
    WirelessSummaryReader& operator=(const WirelessSummaryReader&) = delete;

    // The adapter chosen in `list` (its selected index into the program's
    // adapter arrays) is written as the driver's current device and read.
    // Returns once the connection stands, failed or was cancelled; the
    // replies are handled afterwards, as they arrive.
    void select(const ChoiceList& list);

    // "1", "2", "3": which reply the data handler waits for ("" before any).
    const std::string& requestStep() const { return step_; }
    TcpSocket* TCPSocket() const { return socket_.get(); }

private:
    void onDataArrival();
    void onError(int32_t number, const std::string& description);
    void log(const std::string& text);

    Context& ctx_;
    SummaryView& view_;
    std::unique_ptr<TcpSocket> socket_;
    std::string step_;
    bool loaderShown_ = false;
    // Cleared first thing when the reader goes, so that a wait that is still
    // on the stack (the screen unloaded under it) touches nothing of ours.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace lp
