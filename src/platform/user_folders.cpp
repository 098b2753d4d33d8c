#include "platform/user_folders.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace lp {

namespace {

std::string envOr(const char* name, const std::string& fallback)
{
    const char* value = std::getenv(name);
    return value && *value ? std::string(value) : fallback;
}

std::string home()
{
#ifdef _WIN32
    return envOr("USERPROFILE", ".");
#else
    return envOr("HOME", "/tmp");
#endif
}

std::string folderUnder(const std::string& base, const char* leaf)
{
    std::string path = base + "/" + leaf;
    return makeFolders(path) ? path : std::string();
}

} // namespace

bool makeFolders(const std::string& path)
{
    std::error_code ec;
    std::filesystem::create_directories(path, ec);
    return std::filesystem::is_directory(path, ec);
}

std::string userDataFolder()
{
#ifdef _WIN32
    return folderUnder(envOr("LOCALAPPDATA", home()), "Linkport Toolkit");
#else
    return folderUnder(envOr("XDG_DATA_HOME", home() + "/.local/share"), "linkport-toolkit");
#endif
}

std::string userConfigFolder()
{
#ifdef _WIN32
    return folderUnder(envOr("APPDATA", home()), "Linkport Toolkit");
#else
    return folderUnder(envOr("XDG_CONFIG_HOME", home() + "/.config"), "linkport-toolkit");
#endif
}

} // namespace lp
