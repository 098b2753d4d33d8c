#include "ports/logger.h"

namespace lp {

const char* logSubsystemName(LogSubsystem subsystem)
{
    switch (subsystem) {
    case LogSubsystem::Platform: return "platform";
    case LogSubsystem::Shell: return "shell";
    case LogSubsystem::Settings: return "settings";
    case LogSubsystem::Links: return "links";
    case LogSubsystem::Firmware: return "firmware";
    case LogSubsystem::Flash: return "flash";
    case LogSubsystem::Info: return "info";
    case LogSubsystem::AdapterTest: return "adaptertest";
    case LogSubsystem::Cli: return "cli";
    case LogSubsystem::Sim: return "sim";
    }
    return "unknown";
}

} // namespace lp
