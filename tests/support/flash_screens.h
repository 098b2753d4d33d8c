#pragma once
// The flash screen's part as the line-by-line flashes see it, for tests:
// everything the flash tells it is recorded, and its timer is a host timer
// (virtual or real) once the test hands it one.
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "adapters/compact/compact_flash.h"
#include "adapters/wireless/wireless_flash.h"
#include "ports/host.h"

namespace lp::test {

struct RecordedFlashScreen {
    bool dialogVisible = false, overMaximum = false;
    int dialogShows = 0, pointer = 0, readyStates = 0;
    int32_t maximum = 0, value = 0; // the bar
    FlashProgress progress;
    // The records the adapter model has answered so far; progress past it
    // (or reported while the dialog is down) sets `ahead`.
    std::function<int64_t()> adapterAcknowledged;
    bool ahead = false;
    std::vector<std::string> exitDialogs;
    std::unique_ptr<HostTimer> timer;

    void record(const FlashProgress& p)
    {
        progress = p, maximum = p.barMaximum(), value = p.barValue();
        overMaximum = overMaximum || value > maximum;
        ahead = ahead || !dialogVisible || (adapterAcknowledged && p.acknowledged > adapterAcknowledged());
    }
};

// What every flash screen shows (progress dialog, pointer, closing dialog), recorded.
template <class Screen>
struct RecordingFlashScreen : Screen, RecordedFlashScreen {
    void showProgressDialog() override { dialogShows += dialogVisible ? 0 : 1, dialogVisible = true; }
    void unloadProgressDialog() override { dialogVisible = false; }
    void setProgress(const FlashProgress& p) override { record(p); }
    void setMousePointer(int p) override { pointer = p; }
    void showExitReturnDialog(const std::string& text) override { dialogVisible = false, exitDialogs.push_back(text); }
    void returnToReadyState() override { ++readyStates; }
};

struct RecordingCompactScreen final : RecordingFlashScreen<CompactFlashScreen> {
    void setProgramDeviceTimerEnabled(bool on) override
    {
        timerOn = on;
        if (timer)
            timer->setEnabled(on);
    }
    int mousePointer() const override { return pointer; }

    // tmrProgramDevice: a timer of `host` ticking `flash` at the screen's interval.
    void drive(Host& host, CompactFlash& flash)
    {
        timer = host.createTimer([&flash] { flash.tick(); });
        timer->setInterval(CompactFlash::kProgramDeviceIntervalMs);
    }
    bool timerOn = false;
};

struct RecordingWirelessScreen final : RecordingFlashScreen<WirelessFlashScreen> {
    // With a host, tmrWLPHardFlash is a timer of that host ticking `flash`.
    explicit RecordingWirelessScreen(Host* host = nullptr)
    {
        if (host)
            timer = host->createTimer([this] { flash->hardFlashTick(); });
    }
    void setHardFlashTimerEnabled(bool on) override
    {
        if (!timer)
            return;
        timer->setInterval(WirelessFlash::kHardFlashIntervalMs);
        timer->setEnabled(on);
    }
    void showAdapterValue(WirelessValue which, const std::string& text) override { rows[which] = text; }
    void endReconnectWait() override { ++reconnectWaitsEnded; }

    WirelessFlash* flash = nullptr;
    std::map<WirelessValue, std::string> rows;
    int reconnectWaitsEnded = 0;
};

} // namespace lp::test
