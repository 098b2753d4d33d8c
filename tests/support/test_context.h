#pragma once
// A complete context for procedure and screen tests: virtual clock, scripted
// prompts, recorded screen calls, in-memory log, INI files in a temporary
// Windows directory, a registry file in the same temporary folder, and
// in-process serial ports and TCP network. Everything is fresh per object.
//
//     lp::test::TestContext t;
//     t.setRegistryText("SOFTWARE\\Halvorn Inc.\\Linkport Toolkit", "PrevAdapter", "LPII SIP");
//     t.ctx.commandLine = "/CLP";
//     ... run the procedure with t.ctx, then look at t.prompts, t.screens, t.log
//
// A test that uses the real main window lets it replace ctx.ports.screens
// (it installs itself); `screens` then records nothing.
#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "core/context.h"
#include "platform/ini_profile_files.h"
#include "platform/reg_file_store.h"
#include "doubles/memory_logger.h"
#include "doubles/recording_screens.h"
#include "doubles/scripted_prompts.h"
#include "doubles/virtual_clock.h"
#include "doubles/virtual_serial.h"
#include "doubles/virtual_tcp.h"
#include "support/temp_dir.h"

namespace lp::sim {

// Whole boxes compare in one assertion: text, style and title.
inline bool operator==(const PromptRecord& a, const PromptRecord& b)
{
    return a.prompt == b.prompt && a.style == b.style && a.title == b.title;
}
inline void PrintTo(const PromptRecord& r, std::ostream* os)
{
    *os << '{' << testing::PrintToString(r.prompt) << ", " << r.style << ", " << testing::PrintToString(r.title) << '}';
}

} // namespace lp::sim

namespace lp::test {

using Boxes = std::vector<sim::PromptRecord>;

class TestContext {
public:
    TestContext();
    TestContext(const TestContext&) = delete;
    TestContext& operator=(const TestContext&) = delete;

    // <temp>/windows, without a trailing separator.
    std::string windowsDirectory() const { return windowsDir_; }
    // <temp>/registry.reg.
    std::string registryFile() const { return registryFile_; }
    // A file in the temporary folder, for anything else a test needs.
    std::string file(const std::string& name) const { return dir.file(name); }

    // Stores a REG_SZ value under HKEY_LOCAL_MACHINE directly in the store
    // (no numeric-text conversion). False when the store refused.
    bool setRegistryText(const std::string& key, const std::string& name, const std::string& value);
    // The value as the program reads it (RegReadValue's text).
    std::string registryText(const std::string& key, const std::string& name);

    // Writes a file (an INI file, say) into the Windows directory.
    void writeWindowsFile(const std::string& name, const std::string& contents) const;

    TempDir dir;
    sim::VirtualClock clock;
    sim::ScriptedPrompts prompts;
    sim::RecordingScreenCalls screens;
    sim::MemoryLogger log;
    sim::VirtualSerialPorts serialPorts{clock};
    sim::VirtualTcpNetwork tcpSockets{clock}; // add wireless adapter models by address

private:
    std::string windowsDir_;
    std::string registryFile_;

public:
    IniProfileFiles profiles;
    RegFileStore registry;
    Context ctx;
};

} // namespace lp::test
