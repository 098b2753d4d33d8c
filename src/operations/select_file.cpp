#include "operations/select_file.h"

#include <algorithm>

#include "core/vb_text.h"
#include "ports/logger.h"
#include "ports/prompts.h"
#include "settings/modRegistry.h"
#include "core/string_table.h"

namespace lp {

namespace {

void showRefusal(Context& ctx, const std::string& text)
{
    if (ctx.ports.prompts)
        ctx.ports.prompts->msgBox(text, MsgBoxStyle::OkOnly + MsgBoxStyle::Exclamation, FlashProgramTitle(ctx));
}

std::string lowerAscii(const std::string& text)
{
    std::string out = text;
    for (char& c : out) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return out;
}

} // namespace

std::string SelectFileStartFolder(Context& ctx, const std::function<bool(const std::string&)>& folderExists)
{
    auto usable = [&](const std::string& folder) { return !folder.empty() && folderExists && folderExists(folder); };
    if (!ctx.g_strRegistryKey.empty()) {
        std::string last = RegReadValue(ctx, HKEY_LOCAL_MACHINE, ctx.g_strRegistryKey, kLastFlashDirValue).text();
        if (usable(last))
            return last;
    }
    std::string flashDir = RegReadValue(ctx, HKEY_LOCAL_MACHINE, LoadResString(Res::Lp2RegistryKey), "FlashDir").text();
    if (usable(flashDir))
        return flashDir;
    return {};
}

void RememberFlashFolder(Context& ctx, const std::string& folder)
{
    if (folder.empty() || ctx.g_strRegistryKey.empty())
        return;
    RegWriteValue(ctx, HKEY_LOCAL_MACHINE, ctx.g_strRegistryKey, kLastFlashDirValue, folder);
}

std::string FirmwareFileFilterText(FlashKind kind)
{
    return kind == FlashKind::LP2 ? "Application Firmware Files (*.apf)" : "Firmware Files (*.hex)";
}

bool FirmwareFileListed(FlashKind kind, const std::string& fileName)
{
    // "x.apf", not a file called "apf" or "xapf".
    return fileName.size() >= 5 && fileName[fileName.size() - 4] == '.' && FileSuitsAdapterKind(kind, fileName);
}

void SortFileNames(std::vector<std::string>& names)
{
    std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
        const std::string la = lowerAscii(a), lb = lowerAscii(b);
        return la != lb ? la < lb : a < b;
    });
}

std::string FirmwareTypeFor(FlashKind kind)
{
    switch (kind) {
    case FlashKind::LP2:
        return "Application";
    case FlashKind::CGP:
        return "Firmware";
    case FlashKind::WLP:
        return "Wireless Firmware";
    case FlashKind::None:
        break;
    }
    return {};
}

std::string FirmwareTypeRefusalText(FlashKind kind)
{
    switch (kind) {
    case FlashKind::LP2:
        return LoadResString(Res::FileNotApplicationType);
    case FlashKind::CGP:
        return LoadResString(Res::FileNotFirmwareType);
    case FlashKind::WLP:
    case FlashKind::None:
        break;
    }
    return "The firmware file selected is not valid for Application Flashing.  Please choose a file with a File "
           "Type of \"Wireless Firmware\" and then press OK.";
}

bool IsFirmwareFileHeader(const FirmwareFileHeader& header)
{
    const std::string notFound = LoadResString(Res::NotFound);
    return header.FirmwareType != notFound && header.FirmwareVersion != notFound;
}

bool AcceptSelectedFile(Context& ctx, FlashKind kind, const std::string& path)
{
    if (path.empty()) {
        showRefusal(ctx, LoadResString(Res::NoFileSelected));
        return false;
    }
    const FirmwareFileHeader header = ReadFirmwareFileHeader(ctx, path);
    if (!IsFirmwareFileHeader(header)) {
        if (ctx.ports.log)
            ctx.ports.log->info(LogSubsystem::Flash, "not a firmware file: " + path);
        showRefusal(ctx, LoadResString(Res::FileNotValid));
        return false;
    }
    if (header.FirmwareType != FirmwareTypeFor(kind)) {
        if (ctx.ports.log)
            ctx.ports.log->info(LogSubsystem::Flash,
                                "firmware type \"" + header.FirmwareType + "\" does not suit " + FlashKindText(kind));
        showRefusal(ctx, FirmwareTypeRefusalText(kind));
        return false;
    }
    return true;
}

} // namespace lp
