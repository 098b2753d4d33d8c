// Low-latency mode and the USB ids of a Windows COM port: a request that is
// not made, or not undone, leaves a technician's converter slow or changed;
// a misread instance id names the wrong converter.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/serial_low_latency.h"
#include "platform/serial_port_identity.h"

using namespace lp;

namespace {

// A line whose driver has the flag (or not), and that may refuse a change.
struct FakeLine final : SerialLineFlags {
    bool hasSetting = true;
    bool refusesChange = false;
    bool on = false;
    std::vector<bool> sets; // every change asked for

    bool lowLatency(int, bool& value, std::string& why) override
    {
        value = on;
        why = hasSetting ? "" : "Inappropriate ioctl for device";
        return hasSetting;
    }
    bool setLowLatency(int, bool value, std::string& why) override
    {
        sets.push_back(value);
        const bool allowed = hasSetting && !refusesChange;
        why = allowed ? "" : "Operation not permitted";
        if (allowed)
            on = value;
        return allowed;
    }
};

} // namespace

TEST(LowLatency, AskedOnOpenAndPutBackOnClose)
{
    using O = LowLatencyRequest::Outcome;
    struct Case {
        const char* line;
        bool hasSetting, refusesChange, onBefore;
        O outcome;
        bool lineGone; // at the close: nothing is asked of it
        std::vector<bool> setsAfterClose;
        bool onAfterClose;
    };
    const std::vector<Case> cases{
        {"FTDI converter", true, false, false, O::TurnedOn, false, {true, false}, false},
        {"already low latency", true, false, true, O::AlreadyOn, false, {}, true},
        {"pty", false, false, false, O::Refused, false, {}, false},
        {"driver refuses the change", true, true, false, O::Refused, false, {true}, false},
        {"converter pulled out", true, false, false, O::TurnedOn, true, {true}, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        FakeLine line;
        line.hasSetting = c.hasSetting;
        line.refusesChange = c.refusesChange;
        line.on = c.onBefore;
        LowLatencyRequest request(line);
        std::string why;
        EXPECT_EQ(request.request(3, why), c.outcome);
        EXPECT_EQ(why.empty(), c.outcome != O::Refused) << why;
        EXPECT_EQ(line.on, c.outcome != O::Refused);
        request.restore(3, c.lineGone);
        request.restore(3); // a second close changes nothing more
        EXPECT_EQ(line.sets, c.setsAfterClose);
        EXPECT_EQ(line.on, c.onAfterClose);
    }

    RefusalNotes notes;
    EXPECT_TRUE(notes.first("/dev/pts/4"));
    EXPECT_FALSE(notes.first("/dev/pts/4"));
    EXPECT_TRUE(notes.first("/dev/pts/5"));
}

TEST(UsbIdentity, WindowsInstanceIdsGiveIdsAndSerialNumber)
{
    struct Case {
        const char* id;
        bool usb;
        const char* text; // SerialPortIdentityText with the product "P"
    };
    const std::vector<Case> cases{
        {"USB\\VID_0403&PID_6001\\A9XYZ12", true, "P, USB 0403:6001, serial A9XYZ12"},
        {"FTDIBUS\\VID_0403+PID_6001+A9XYZ12A\\0000", true, "P, USB 0403:6001, serial A9XYZ12"},
        {"usb\\vid_067b&pid_2303\\6&2F3A1B9&0&2", true, "P, USB 067b:2303"},
        {"USB\\VID_10C4&PID_EA60&MI_00\\7&1A2B3C&0&0000", true, "P, USB 10c4:ea60"},
        {"ACPI\\PNP0501\\1", false, ""},
        {"USB\\VID_04G3&PID_6001\\X", false, ""},
        {"USB\\VID_0403&PID_60", false, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.id);
        SerialPortIdentity identity;
        identity.product = "P";
        EXPECT_EQ(ParseUsbInstanceId(c.id, identity), c.usb);
        EXPECT_EQ(SerialPortIdentityText(identity), c.text);
    }
    SerialPortIdentity unnamed{.usb = true, .vendorId = "1a86", .productId = "7523"};
    EXPECT_EQ(SerialPortIdentityText(unnamed), "USB converter, USB 1a86:7523");
}
