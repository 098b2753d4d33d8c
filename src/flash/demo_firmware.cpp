#include "flash/demo_firmware.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <system_error>

#ifdef _WIN32
#include <windows.h>
#endif

namespace lp {

namespace fs = std::filesystem;

namespace {

fs::path runningProgram()
{
#ifdef _WIN32
    wchar_t buffer[MAX_PATH];
    const DWORD n = GetModuleFileNameW(nullptr, buffer, MAX_PATH);
    return n > 0 && n < MAX_PATH ? fs::path(buffer) : fs::path();
#else
    std::error_code ec;
    const fs::path self = fs::read_symlink("/proc/self/exe", ec);
    return ec ? fs::path() : self;
#endif
}

bool isFirmwareFile(const fs::path& path)
{
    std::string ext = path.extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char ch) { return std::tolower(ch); });
    return ext == ".apf" || ext == ".hex";
}

} // namespace

std::string DemoFirmwareSourceFolder()
{
    const fs::path program = runningProgram();
    if (program.empty())
        return {};
    const fs::path folder = program.parent_path().parent_path() / "demo-firmware";
    std::error_code ec;
    return fs::is_directory(folder, ec) ? folder.string() : std::string();
}

bool WriteDemoFirmwareFiles(const std::string& folder, std::string& error)
{
    const std::string source = DemoFirmwareSourceFolder();
    if (source.empty()) {
        error = "the demo firmware files are not installed beside the program";
        return false;
    }
    std::error_code ec;
    for (const fs::directory_entry& entry : fs::directory_iterator(source, ec)) {
        if (!entry.is_regular_file(ec) || !isFirmwareFile(entry.path()))
            continue;
        fs::copy_file(entry.path(), fs::path(folder) / entry.path().filename(), fs::copy_options::overwrite_existing,
                      ec);
        if (ec) {
            error = "cannot copy " + entry.path().string() + ": " + ec.message();
            return false;
        }
    }
    if (ec) {
        error = "cannot read " + source + ": " + ec.message();
        return false;
    }
    return true;
}

} // namespace lp
