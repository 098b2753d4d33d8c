#pragma once
// What the two flash targets share: a small sound firmware file on disk and
// a context on the virtual clock whose log is printed when a run fails.
#include <cstdio>
#include <string>
#include <unistd.h>

#include "core/context.h"
#include "platform/ini_profile_files.h"
#include "doubles/memory_logger.h"
#include "doubles/recording_screens.h"
#include "doubles/scripted_prompts.h"
#include "doubles/virtual_clock.h"

namespace lp::fuzz {

// A folder made once per process holding app.hex (four records) and a
// CLPRP32.INI that puts the compact adapter on COM3 at the flash rate.
inline const std::string& flashFolder()
{
    static const std::string dir = [] {
        char name[] = "/tmp/lp-fuzz-flash-XXXXXX";
        std::string d = mkdtemp(name) ? name : "/tmp";
        FILE* f = std::fopen((d + "/app.hex").c_str(), "wb");
        std::fputs("[Hex File Information]\r\nFirmwareVersion=1.8\r\nFirmwareType=B&B SIP\r\n"
                   "ReleaseDate=03/14/2026\r\nHardwareVersions=1.0\r\n\r\n"
                   ":020000040000FA\r\n:0400000000010203F6\r\n:04000400DEADBEEFC0\r\n:00000001FF\r\n",
                   f);
        std::fclose(f);
        f = std::fopen((d + "/CLPRP32.INI").c_str(), "wb");
        std::fputs("[DeviceInformation3]\r\nDeviceParams=COM3,P1\r\n", f);
        std::fclose(f);
        return d;
    }();
    return dir;
}

inline std::string flashFile() { return flashFolder() + "/app.hex"; }

// Every port a flash reaches besides its line: the virtual clock as host,
// scripted prompts, a memory log, recorded screen calls, the INI files.
struct FlashRig {
    sim::VirtualClock clock;
    sim::ScriptedPrompts prompts;
    sim::MemoryLogger log;
    sim::RecordingScreenCalls screens;
    IniProfileFiles profiles{flashFolder()};
    Context ctx;

    FlashRig()
    {
        ctx.ports.host = &clock;
        ctx.ports.prompts = &prompts;
        ctx.ports.log = &log;
        ctx.ports.screens = &screens;
        ctx.ports.profiles = &profiles;
    }
    FlashRig(const FlashRig&) = delete;
    FlashRig& operator=(const FlashRig&) = delete;

    // The run's log on stderr, before a failing property aborts.
    void printLogIf(bool failing) const
    {
        if (failing)
            for (const auto& line : log.lines)
                std::fprintf(stderr, "log: %s\n", line.text.c_str());
    }
};

} // namespace lp::fuzz
