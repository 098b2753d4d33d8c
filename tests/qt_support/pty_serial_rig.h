#pragma once
// A serial adapter model reached the way the program reaches a real one:
// behind a pseudo-terminal that COMn points at, through the real serial port
// and the Qt host. Header-only, for the end-to-end tests and the flash
// benchmark alike.
#include <memory>
#include <optional>
#include <string>

#include "core/context.h"
#include "platform/ini_profile_files.h"
#include "platform/qt/qt_host.h"
#include "platform/qt/qt_serial_port.h"
#include "doubles/memory_logger.h"
#include "realtime/pty_bridge.h"
#include "doubles/recording_screens.h"
#include "doubles/scripted_prompts.h"
#include "support/flash_screens.h"
#include "support/scoped_env.h"

namespace lp::test {

// Starts `bridge` and links COM<port> in <folder>/dosdevices to its pty;
// LINKPORT_DOSDEVICES points at that folder while the object lives.
class PtyComPort {
public:
    PtyComPort(sim::PtyBridge& bridge, const std::string& folder, int port)
    {
        if (!bridge.start(&error)) {
            noPty = true;
            return;
        }
        const std::string dosdevices = folder + "/dosdevices";
        linked = sim::linkComPort(dosdevices, port, bridge.slavePath(), &error);
        if (linked)
            env_.emplace("LINKPORT_DOSDEVICES", dosdevices);
    }

    bool noPty = false;  // the system has no pseudo-terminal to give
    bool linked = false; // COMn leads to the model
    std::string error;

private:
    std::optional<ScopedEnv> env_;
};

// A context on the Qt host and the real serial ports, with the INI files of
// `folder`, scripted prompts, recorded screen calls and a memory log.
struct QtSerialContext {
    explicit QtSerialContext(const std::string& folder) : profiles(folder)
    {
        ctx.ports = {.host = &host, .prompts = &prompts, .profiles = &profiles, .log = &log,
                     .serialPorts = &ports, .screens = &screens};
    }
    QtSerialContext(const QtSerialContext&) = delete;
    QtSerialContext& operator=(const QtSerialContext&) = delete;

    sim::MemoryLogger log;
    QtHost host;
    QtSerialPorts ports{&log};
    IniProfileFiles profiles;
    sim::ScriptedPrompts prompts;
    sim::RecordingScreenCalls screens;
    Context ctx;
};

} // namespace lp::test
