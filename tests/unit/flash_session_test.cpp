// The read-back verdict: what counts as the adapter running the file's
// version after a flash.
#include <gtest/gtest.h>

#include "operations/flash_session.h"

#include <string>

#include "models/compact_model.h"
#include "models/firmware_image.h"
#include "doubles/lp2_in_process_driver.h"
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

} // namespace

TEST(FlashSession, ProgressCountsAcknowledgedRecordsForEveryAdapterKind)
{
    // records: the file's data records; total: what the progress counts to,
    // the records sent with the end-of-file record (the driver's flash: its
    // one command). 65,600 records are 1 MiB and more, with an address
    // record for each 64 KiB block past the first.
    const struct { FlashKind kind; size_t records; int64_t total; } cases[] = {
        {FlashKind::LP2, 0, 1},           {FlashKind::CGP, 40, 41},
        {FlashKind::WLP, 40, 41},         {FlashKind::CGP, 65'600, 65'600 + 16 + 1},
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
        t.writeWindowsFile("LPIPRP32.INI", "[AdditionalDevices]\r\nDeviceNames=Yard;\r\nDeviceParams=127.0.0.2:12321;\r\n");
        t.ctx.g_blnLP2Selected = c.kind == FlashKind::LP2;
        t.ctx.g_blnCGPSelected = c.kind == FlashKind::CGP;
        t.ctx.g_blnWLPSelected = c.kind == FlashKind::WLP;
        t.ctx.flashFileName = t.file("image");
        std::string text = firmwareFileText(pseudoRandomImage(c.records * 16));
        text.replace(text.find("1.8"), 3, c.kind == FlashKind::LP2 ? "1.9" : "01.08.12"); // newer than the adapter's
        if (c.kind == FlashKind::LP2)
            text.replace(text.find("HardwareVersions=1.10"), 21, "HardwareVersions=3.0");
        test::writeFile(t.ctx.flashFileName, text);

        ProgressView view;
        view.adapterAcknowledged = [&] {
            return c.kind == FlashKind::LP2 ? int64_t(lp2.lastFlashValue().has_value())
                   : c.kind == FlashKind::CGP ? compact.acknowledgements : int64_t(wireless.recordsWritten());
        };
        auto connection = t.serialPorts.create();
        auto socket = t.tcpSockets.create();
        FlashSession session(t.ctx, view, connection.get(), socket.get(), "test");
        EXPECT_EQ(session.run(session.readValues()).outcome, FlashOutcome::Success);
        EXPECT_EQ(view.dialogShows, 1); // once, up to the end
        EXPECT_FALSE(view.ahead);
        EXPECT_EQ(view.progress.total, c.total);
        EXPECT_EQ(view.progress.acknowledged, c.total);
        EXPECT_EQ(view.value, view.maximum); // the last answer fills the bar
        EXPECT_EQ(view.maximum, c.kind == FlashKind::LP2 ? 10 : 6 + c.total - 1 + 10); // record count + 10
    }
}
