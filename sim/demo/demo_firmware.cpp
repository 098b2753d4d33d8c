#include "demo/demo_firmware.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <system_error>

#include "platform/shipped_files.h"

namespace lp {

namespace fs = std::filesystem;

namespace {

bool isFirmwareFile(const fs::path& path)
{
    std::string ext = path.extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char ch) { return std::tolower(ch); });
    return ext == ".apf" || ext == ".hex";
}

} // namespace

std::string DemoFirmwareSourceFolder()
{
    return findShippedFile(ShippedFile::DemoFirmware);
}

bool WriteDemoFirmwareFiles(const std::string& folder, std::string& error)
{
    const std::string source = DemoFirmwareSourceFolder();
    if (source.empty()) {
        error = "the demo firmware files were not found (" + shippedFilePlaces(ShippedFile::DemoFirmware)
                + " beside the program)";
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
