#pragma once
// Where this user's files live: data (Windows-directory stand-in, log, flash
// log) and configuration (registry file, port map). Folders are created on
// first use; an empty result means the folder could not be made.
#include <string>

namespace lp {

// $XDG_DATA_HOME/linkport-toolkit (default ~/.local/share/linkport-toolkit);
// on Windows %LOCALAPPDATA%\Linkport Toolkit.
std::string userDataFolder();

// $XDG_CONFIG_HOME/linkport-toolkit (default ~/.config/linkport-toolkit);
// on Windows %APPDATA%\Linkport Toolkit.
std::string userConfigFolder();

// Creates the folder and its parents; true when it exists afterwards.
bool makeFolders(const std::string& path);

} // namespace lp
