#pragma once
// The ports of a real run, built once for the GUI and the command line alike:
// Qt host, logger, serial ports and sockets, the INI files of the Windows
// directory, the registry (a .reg file on Linux, the system's on Windows), the RP1210 driver library and the file
// version reader. The prompts differ (message boxes or the terminal), so the
// caller hands in its own.
#include <memory>

#include "core/context.h"

namespace lp {

class RealPorts {
public:
    // Needs a QCoreApplication. Reads windir, LINKPORT_REGISTRY_FILE and
    // LINKPORT_DOSDEVICES now, so a demo session must have started first.
    RealPorts();
    ~RealPorts();
    RealPorts(const RealPorts&) = delete;
    RealPorts& operator=(const RealPorts&) = delete;

    // Fills ctx.ports with these ports and `prompts`.
    void attach(Context& ctx, Prompts* prompts);
    Logger& logger();

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

} // namespace lp
