#include "operations/startup.h"

#include <cmath>

#include "core/vb_text.h"
#include "ports/logger.h"
#include "settings/modLibrary.h"
#include "settings/modRegistry.h"
#include "core/string_table.h"
#include "version.h"

namespace lp {

namespace {

constexpr const char* kLP2 = "LPII SIP";
constexpr const char* kCompact = "B&B SIP";
constexpr const char* kWireless = "WLP";

// The wireless-only edition has its own names and a fixed version.
constexpr const char* kWirelessToolkitTitle = "Wireless Linkport Toolkit";
constexpr const char* kWirelessVersion = "1.0.0";

std::string programVersion()
{
    return std::to_string(version::major) + "." + std::to_string(version::minor) + "."
        + std::to_string(version::revision);
}

void logInfo(Context& ctx, const std::string& text)
{
    if (ctx.ports.log)
        ctx.ports.log->info(LogSubsystem::Shell, text);
}

} // namespace

bool CommandLineBeginsWith(const std::string& commandLine, const std::string& switchText)
{
    if (switchText.empty())
        return false;
    return vb::InStr(vb::UCase(commandLine), vb::UCase(switchText)) == 1;
}

int16_t ChooseToolkitMode(Context& ctx)
{
    if (CommandLineBeginsWith(ctx.commandLine, "/CLP"))
        return 2;
    return ServiceToolInstalled(ctx) ? 2 : 1;
}

void ChooseDeviceKind(Context& ctx)
{
    if (ctx.g_intToolkitMode == -1)
        ctx.g_strDeviceKind = kWireless;
    else
        ctx.g_strDeviceKind = ReadPrevAdapter(ctx);
}

bool CorrectDeviceKind(Context& ctx)
{
    const bool compactInStandard = ctx.g_strDeviceKind == kCompact && ctx.g_intToolkitMode == 1;
    const bool wirelessInCompact = ctx.g_strDeviceKind == kWireless && ctx.g_intToolkitMode == 2;
    if (!compactInStandard && !wirelessInCompact)
        return false;
    logInfo(ctx, "stored adapter \"" + ctx.g_strDeviceKind + "\" does not suit edition "
                     + std::to_string(ctx.g_intToolkitMode) + "; now \"" + kLP2 + "\"");
    RegWriteValue(ctx, HKEY_LOCAL_MACHINE, ctx.g_strRegistryKey, "PrevAdapter", RegValue(kLP2));
    return true;
}

void ApplyDeviceFlags(Context& ctx)
{
    if (ctx.g_intToolkitMode == -1) {
        ctx.g_strDeviceKind = kWireless;
        SetDeviceFlags(ctx, false, false, true);
        return;
    }
    ctx.g_strDeviceKind = ReadPrevAdapter(ctx);
    if (ctx.g_strDeviceKind == kLP2)
        SetDeviceFlags(ctx, true, false, false);
    else if (ctx.g_strDeviceKind == kCompact)
        SetDeviceFlags(ctx, false, true, false);
    else if (ctx.g_strDeviceKind == kWireless)
        SetDeviceFlags(ctx, false, false, true);
}

std::string FirstScreenKey(const Context& ctx)
{
    if (ctx.g_strDeviceKind.empty())
        return ScreenKey::Preferences;
    if (CommandLineBeginsWith(ctx.commandLine, "/SIPUpgrade"))
        return ScreenKey::ApplicationFlash;
    return ScreenKey::Summary;
}

std::string StatusVersionText(int16_t toolkitMode)
{
    return "v" + (toolkitMode == -1 ? std::string(kWirelessVersion) : programVersion());
}

MainCaptions MainWindowCaptions(int16_t toolkitMode)
{
    if (toolkitMode == -1)
        return {"Wireless Linkport", "About Wireless Linkport Toolkit"};
    return {LoadResString(Res::ProgramTitle), "About " + LoadResString(Res::ProgramTitle)};
}

std::string ScreenCaption(int16_t toolkitMode, const std::string& screenName)
{
    const std::string title = toolkitMode == -1 ? std::string(kWirelessToolkitTitle) : LoadResString(Res::ProgramTitle);
    return title + " - " + screenName;
}

std::string PanelTextFromCaption(const std::string& caption)
{
    return vb::Mid(caption, vb::InStr(caption, "-") + 2);
}

bool DriverRefusesFlash(const std::string& lp2DriverVersion)
{
    return lp2DriverVersion == "1.9" || lp2DriverVersion == "1.91";
}

std::string LegalCopyright() { return "Copyright (C) 2005"; }

AboutTexts AboutDialogTexts(int16_t toolkitMode)
{
    AboutTexts t;
    t.copyright = LegalCopyright() + " " + LoadResString(Res::MakerName) + " All Rights Reserved";
    if (toolkitMode == -1) {
        t.caption = "About Wireless Linkport Toolkit";
        t.version = std::string("Version ") + kWirelessVersion;
        t.title = kWirelessToolkitTitle;
    } else {
        t.caption = "About " + LoadResString(Res::ProgramTitle);
        t.version = "Version " + programVersion();
        t.title = LoadResString(Res::ProgramTitle);
    }
    return t;
}

int TwipsToPixels(int twips, double dpi)
{
    if (!(dpi > 0) || !std::isfinite(dpi))
        dpi = 96;
    return static_cast<int>(std::lround(twips * dpi / 1440.0));
}

int ExitDialogHeightPixels(int labelHeightPixels, double dpiY)
{
    return labelHeightPixels + TwipsToPixels(kExitDialogExtraTwips, dpiY);
}

} // namespace lp
