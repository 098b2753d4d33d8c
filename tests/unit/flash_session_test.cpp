// The read-back verdict: what counts as the adapter running the file's
// version after a flash.
#include <gtest/gtest.h>

#include "operations/flash_session.h"

#include <string>

#include "models/compact_model.h"
#include "models/firmware_image.h"
#include "models/lp2_in_process_driver.h"
#include "models/lp2_model.h"
#include "models/wireless_model.h"
#include "support/flash_screens.h"
#include "support/test_context.h"

using lp::JudgeReadBack;
using lp::ReadBackVerdict;

TEST(FlashSession, ReadBackVerdictComparesVersionsPartByPart)
{
    const struct {
        const char* after;
        const char* file;
        ReadBackVerdict verdict;
    } cases[] = {
        {"1.9", "1.9", ReadBackVerdict::Verified},
        {"01.08.12", "01.08.12", ReadBackVerdict::Verified},
        {"01.08.12", "1.8.12", ReadBackVerdict::Verified},  // the adapter pads its parts
        {"01.08.00", "1.8", ReadBackVerdict::Verified},     // a missing part is 0
        {"01.07.12", "01.08.12", ReadBackVerdict::Mismatch},
        {"1.8", "1.8.1", ReadBackVerdict::Mismatch},
        {"1.10", "1.1", ReadBackVerdict::Mismatch},         // numbers, not texts
        {"2.0", "Not Found", ReadBackVerdict::Mismatch},    // a header without a version
        {"1.9", "", ReadBackVerdict::Mismatch},
        {"1..9", "1.9", ReadBackVerdict::Mismatch},
        {"99999999999.1", "1.1", ReadBackVerdict::Mismatch}, // no overflow into a match
        {"", "1.9", ReadBackVerdict::NotRead},
        {"Not Present", "1.9", ReadBackVerdict::NotRead},
    };
    for (const auto& c : cases)
        EXPECT_EQ(JudgeReadBack(c.after, c.file), c.verdict) << c.after << " against " << c.file;
}

namespace {

using namespace lp;
using namespace lp::sim;

// The flash as a front end sees it; the bar's checks are RecordedFlashScreen's.
struct ProgressView final : FlashSessionView, test::RecordedFlashScreen {
    void showProgressDialog() override { dialogShows += dialogVisible ? 0 : 1, dialogVisible = true; }
    void unloadProgressDialog() override { dialogVisible = false; }
    void setProgress(const FlashProgress& p) override { record(p); }
    int mousePointer() const override { return pointer; }
    void setMousePointer(int p) override { pointer = p; }
    void setFlashTimerEnabled(FlashTimer, bool, int32_t) override {}
    void showAdapterValue(WirelessValue, const std::string&) override {}
    void setMainWindowEnabled(bool) override {}
    void showExitReturnDialog(const std::string& text) override { dialogVisible = false, exitDialogs.push_back(text); }
    void returnToReadyState() override {}
};

std::string newerFile(std::string text)
{
    text.replace(text.find("FirmwareVersion=1.8"), 19, "FirmwareVersion=01.08.12");
    return text;
}

} // namespace

TEST(FlashSession, ProgressCountsAcknowledgedRecordsForEveryAdapterKind)
{
    const struct {
        FlashKind kind;
        size_t records; // data records of the file (the driver's flash: none counted)
        int64_t total;  // what the progress counts to: records sent, the end-of-file record included
    } cases[] = {
        {FlashKind::LP2, 0, 1},
        {FlashKind::CGP, 40, 41},
        {FlashKind::WLP, 40, 41},
        // 1 MiB and more: past every 16-bit count (a record of 16 bytes each,
        // an address record for each 64 KiB block past the first).
        {FlashKind::CGP, 65'600, 65'600 + 16 + 1},
        {FlashKind::WLP, 65'600, 65'600 + 16 + 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(FlashKindText(c.kind) + " " + std::to_string(c.records));
        test::TestContext t;
        Lp2Model lp2;
        Lp2InProcessDriver driver{lp2, &t.serialPorts, 5};
        CompactModel compact({.baud = 115200});
        WirelessModel wireless;
        t.ctx.ports.rp1210 = &driver;
        t.serialPorts.addPort(5, &lp2);
        t.serialPorts.addPort(7, &compact);
        t.tcpSockets.addDevice("127.0.0.2", wireless);
        t.writeWindowsFile("LP2RP32.INI", lp2DriverIni({.deviceParams = "COM5,9600"}));
        t.writeWindowsFile("CLPRP32.INI", "[DeviceInformation3]\r\nDeviceParams=COM7,P1\r\n");
        t.writeWindowsFile("LPIPRP32.INI", "[AdditionalDevices]\r\nDeviceNames=Yard;\r\nDeviceParams=127.0.0.2:12321;\r\n"
                                           "SerialNumbers=W1;\r\n[DeviceInformation1]\r\nDeviceName=Yard\r\n");
        t.ctx.g_blnLP2Selected = c.kind == FlashKind::LP2;
        t.ctx.g_blnCGPSelected = c.kind == FlashKind::CGP;
        t.ctx.g_blnWLPSelected = c.kind == FlashKind::WLP;
        t.ctx.g_strFlashFileName = t.file("image");
        test::writeFile(t.ctx.g_strFlashFileName,
                        c.kind == FlashKind::LP2 ? "[Hex File Information]\r\nFirmwareVersion=1.9\r\nFirmwareType=Application\r\n"
                                                   "ReleaseDate=May 2024\r\nHardwareVersions=3.0\r\n\r\n"
                                                 : newerFile(firmwareFileText(pseudoRandomImage(c.records * 16))));

        ProgressView view;
        view.adapterAcknowledged = [&] {
            return c.kind == FlashKind::LP2 ? int64_t(lp2.lastFlashValue().has_value())
                   : c.kind == FlashKind::CGP ? compact.acknowledgements
                                              : int64_t(wireless.recordsWritten());
        };
        auto connection = t.serialPorts.create();
        auto socket = t.tcpSockets.create();
        FlashSession session(t.ctx, view, connection.get(), socket.get(), "test");
        const FlashAttempt a = session.run(session.readValues());

        EXPECT_EQ(a.outcome, FlashOutcome::Success) << a.reason;
        EXPECT_EQ(view.dialogShows, 1); // once, up to the end
        EXPECT_FALSE(view.dialogVisible);
        EXPECT_FALSE(view.ahead);
        EXPECT_EQ(view.progress.total, c.total);
        EXPECT_EQ(view.progress.acknowledged, c.total);
        EXPECT_EQ(view.value, view.maximum); // the last answer fills the bar
        if (c.kind != FlashKind::LP2) {
            EXPECT_EQ(view.maximum, 6 + c.total - 1 + 10); // the record count plus 10
        }
    }
}
