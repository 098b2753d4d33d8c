#include "platform/shipped_files.h"

#include <filesystem>
#include <system_error>

#ifdef _WIN32
#include <windows.h>
#endif

namespace lp {

namespace fs = std::filesystem;

namespace {

// Relative to the program's folder. The build tree comes first: a program
// run from a build must not pick up an older installed copy.
std::vector<fs::path> relativePlaces(ShippedFile file)
{
#ifdef _WIN32
    // Windows installs one folder: the programs, LP2RP32.dll and
    // demo-firmware\ side by side; a build has the firmware one level up.
    switch (file) {
    case ShippedFile::DriverLibrary:
        return {fs::path("LP2RP32.dll")};
    case ShippedFile::DemoFirmware:
        return {fs::path("..") / "demo-firmware", fs::path("demo-firmware")};
    }
#else
    switch (file) {
    case ShippedFile::DriverLibrary:
        return {fs::path("..") / "lib" / "libLP2RP32.so",
                fs::path("..") / "lib" / "linkport-toolkit" / "libLP2RP32.so"};
    case ShippedFile::DemoFirmware:
        return {fs::path("..") / "demo-firmware", fs::path("..") / "share" / "linkport-toolkit" / "demo-firmware"};
    }
#endif
    return {};
}

} // namespace

std::vector<std::string> shippedFileCandidates(ShippedFile file, const std::string& programFolder)
{
    std::vector<std::string> out;
    if (programFolder.empty())
        return out;
    for (const fs::path& rel : relativePlaces(file))
        out.push_back((fs::path(programFolder) / rel).lexically_normal().string());
    return out;
}

std::string findShippedFile(ShippedFile file, const std::string& programFolder)
{
    for (const std::string& candidate : shippedFileCandidates(file, programFolder)) {
        std::error_code ec;
        const bool found = file == ShippedFile::DemoFirmware ? fs::is_directory(candidate, ec)
                                                             : fs::is_regular_file(candidate, ec);
        if (found)
            return candidate;
    }
    return {};
}

std::string runningProgramFolder()
{
#ifdef _WIN32
    // The narrow (ANSI) name: paths made from std::string read it back the
    // same way, and no wide-to-narrow conversion can fail.
    char buffer[MAX_PATH];
    const DWORD n = GetModuleFileNameA(nullptr, buffer, MAX_PATH);
    return n > 0 && n < MAX_PATH ? fs::path(buffer).parent_path().string() : std::string();
#else
    std::error_code ec;
    const fs::path self = fs::read_symlink("/proc/self/exe", ec);
    return ec ? std::string() : self.parent_path().string();
#endif
}

std::string findShippedFile(ShippedFile file)
{
    return findShippedFile(file, runningProgramFolder());
}

std::string shippedFilePlaces(ShippedFile file)
{
    std::string out;
    for (const fs::path& rel : relativePlaces(file))
        out += (out.empty() ? "" : " or ") + rel.generic_string();
    return out;
}

} // namespace lp
