#pragma once
// The flash screen's part as the line-by-line flashes see it, for tests:
// everything the flash tells it is recorded, and its timer is a host timer
// (virtual or real) once the test hands it one.
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
    int32_t maximum = 0, value = 0;
    std::vector<std::string> exitDialogs;
    std::unique_ptr<HostTimer> timer;
};

struct RecordingCompactScreen final : CompactFlashScreen, RecordedFlashScreen {
    void showProgressDialog() override { dialogVisible = true, ++dialogShows; }
    void unloadProgressDialog() override { dialogVisible = false; }
    void setProgressMaximum(int32_t m) override { maximum = m; }
    void setProgressValue(int32_t v) override { value = v, overMaximum = overMaximum || v > maximum; }
    void setProgramDeviceTimerEnabled(bool on) override
    {
        timerOn = on;
        if (timer)
            timer->setEnabled(on);
    }
    int mousePointer() const override { return pointer; }
    void setMousePointer(int p) override { pointer = p; }
    void showExitReturnDialog(const std::string& text) override { exitDialogs.push_back(text); }
    void returnToReadyState() override { ++readyStates; }

    // tmrProgramDevice: a timer of `host` ticking `flash` at the screen's interval.
    void drive(Host& host, CompactFlash& flash)
    {
        timer = host.createTimer([&flash] { flash.tick(); });
        timer->setInterval(CompactFlash::kProgramDeviceIntervalMs);
    }
    bool timerOn = false;
};

struct RecordingWirelessScreen final : WirelessFlashScreen, RecordedFlashScreen {
    // With a host, tmrWLPHardFlash is a timer of that host ticking `flash`.
    explicit RecordingWirelessScreen(Host* host = nullptr)
    {
        if (host)
            timer = host->createTimer([this] { flash->hardFlashTick(); });
    }
    void showProgressDialog() override { dialogVisible = true, ++dialogShows; }
    void unloadProgressDialog() override { dialogVisible = false; }
    void setProgressMaximum(int32_t m) override { maximum = m; }
    void setProgressValue(int32_t v) override { value = v, overMaximum = overMaximum || v > maximum; }
    void setHardFlashTimerEnabled(bool on) override
    {
        if (!timer)
            return;
        timer->setInterval(WirelessFlash::kHardFlashIntervalMs);
        timer->setEnabled(on);
    }
    void showAdapterValue(WirelessValue which, const std::string& text) override { rows[which] = text; }
    void setMousePointer(int p) override { pointer = p; }
    void endReconnectWait() override { ++reconnectWaitsEnded; }
    void showExitReturnDialog(const std::string& text) override { exitDialogs.push_back(text); }
    void returnToReadyState() override { ++readyStates; }

    WirelessFlash* flash = nullptr;
    std::map<WirelessValue, std::string> rows;
    int reconnectWaitsEnded = 0;
};

} // namespace lp::test
