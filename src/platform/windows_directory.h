#pragma once
// Where the driver INI files live: the Windows directory.
#include <string>

namespace lp {

// The "windir" environment variable when it is set; otherwise
// GetWindowsDirectoryA on Windows and <userDataFolder()>/windows elsewhere
// (created on first use). No trailing separator. Empty when no folder could
// be found or made.
std::string defaultWindowsDirectory();

} // namespace lp
