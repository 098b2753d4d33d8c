#include "doubles/memory_logger.h"

namespace lp::sim {

bool MemoryLogger::contains(LogSubsystem subsystem, std::string_view part) const
{
    for (const auto& line : lines)
        if (line.subsystem == subsystem && line.text.find(part) != std::string::npos)
            return true;
    return false;
}

bool MemoryLogger::contains(std::string_view part) const
{
    for (const auto& line : lines)
        if (line.text.find(part) != std::string::npos)
            return true;
    return false;
}

} // namespace lp::sim
