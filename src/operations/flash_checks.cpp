#include "operations/flash_checks.h"

#include <cctype>

#include <cmath>
#include <vector>

#include "core/vb_text.h"
#include "ports/logger.h"
#include "ports/prompts.h"
#include "settings/modRegistry.h"
#include "core/string_table.h"

namespace lp {

namespace {

constexpr const char* kCRLF = "\r\n";
constexpr const char* kEmptySlot = "255.255";
constexpr const char* kWirelessToolkitTitle = "Wireless Linkport Toolkit";

bool wirelessOnly(const Context& ctx) { return ctx.g_intToolkitMode == -1; }

int ask(Context& ctx, const std::string& prompt, int style, const std::string& title)
{
    // Without a way to ask, the answer that stops is the safe one.
    if (!ctx.ports.prompts)
        return MsgBoxResult::Cancel;
    return ctx.ports.prompts->msgBox(prompt, style, title);
}

void note(Context& ctx, const std::string& text)
{
    if (ctx.ports.log)
        ctx.ports.log->info(LogSubsystem::Flash, text);
}

// Start offsets of the UTF-8 characters of a text. A stray byte that
// starts no valid sequence counts as one character.
std::vector<size_t> characterStarts(std::string_view text)
{
    std::vector<size_t> starts;
    for (size_t i = 0; i < text.size();) {
        starts.push_back(i);
        const auto c = static_cast<unsigned char>(text[i]);
        size_t length = c < 0x80 ? 1 : (c >> 5) == 0x6 ? 2 : (c >> 4) == 0xE ? 3 : (c >> 3) == 0x1E ? 4 : 1;
        size_t j = 1;
        while (j < length && i + j < text.size() && (static_cast<unsigned char>(text[i + j]) & 0xC0) == 0x80)
            ++j;
        i += j;
    }
    return starts;
}

} // namespace

FlashKind FlashKindOf(const Context& ctx)
{
    if (ctx.g_blnLP2Selected)
        return FlashKind::LP2;
    if (ctx.g_blnWLPSelected)
        return FlashKind::WLP;
    if (ctx.g_blnCGPSelected)
        return FlashKind::CGP;
    return FlashKind::None;
}

std::string FlashKindText(FlashKind kind)
{
    switch (kind) {
    case FlashKind::LP2:
        return "LPII SIP";
    case FlashKind::WLP:
        return "WLP";
    case FlashKind::CGP:
        return "B&B SIP";
    case FlashKind::None:
        break;
    }
    return {};
}

std::string ShortenFilePath(std::string_view path)
{
    const std::vector<size_t> starts = characterStarts(path);
    if (starts.size() <= 40)
        return std::string(path);
    return std::string(path.substr(0, starts[40])) + "..." + std::string(path.substr(starts[starts.size() - 30]));
}

bool FileSuitsAdapterKind(FlashKind kind, std::string_view path)
{
    const std::string last = vb::Right(path, 3);
    switch (kind) {
    case FlashKind::LP2:
        return last == "apf" || last == "APF";
    case FlashKind::CGP:
    case FlashKind::WLP:
        return last == "hex" || last == "HEX";
    case FlashKind::None:
        break;
    }
    return false;
}

std::optional<std::string> DefaultFlashFile(Context& ctx, FlashKind kind)
{
    if (kind != FlashKind::LP2 || !RegKeyExists(ctx, HKEY_LOCAL_MACHINE, kDefaultFlashFileKey))
        return std::nullopt;
    std::string path = vb::Trim(kDefaultFlashFile);
    if (path.empty())
        return std::nullopt;
    return path;
}

bool PathFitsThisSystem(std::string_view path)
{
#ifdef _WIN32
    (void)path;
    return true;
#else
    const bool driveLetter = path.size() >= 3 && std::isalpha(static_cast<unsigned char>(path[0])) && path[1] == ':'
                             && (path[2] == '\\' || path[2] == '/');
    return !driveLetter;
#endif
}

double VersionTextValue(std::string_view text)
{
    if (text.empty())
        return 0;
    size_t d = vb::InStr(text, ".");
    std::string major, minor, tail;
    if (d == 0) {
        major = std::string(text);
    } else {
        major = vb::Left(text, d - 1);
        // The second search starts at Len(major), which finds the same
        // point again; an empty major starts it at the first character.
        const size_t k = vb::InStr(text, ".", major.empty() ? 1 : major.size());
        minor = vb::Mid(text, d + 1, k);
        tail = vb::Right(text, k);
    }
    const std::string joined =
        vb::NumberText(vb::Val(major)) + vb::NumberText(vb::Val(minor)) + vb::NumberText(vb::Val(tail));
    return vb::RoundHalfEven(vb::Val(joined));
}

std::optional<int16_t> VersionTextToNumber(std::string_view text)
{
    return vb::CInt(VersionTextValue(text));
}

bool CheckHardwareCompatible(Context& ctx, FlashKind kind, const std::string& supportedList,
                             const std::string& hardware)
{
    std::string rest = supportedList;
    while (!rest.empty()) {
        const size_t comma = vb::InStr(rest, ",");
        const std::string item = comma > 0 ? vb::Left(rest, comma - 1) : rest;
        if (item == hardware)
            return true;
        rest = comma > 0 ? vb::Mid(rest, comma + 1) : std::string();
    }
    note(ctx, "hardware version \"" + hardware + "\" is not in the file's list \"" + supportedList + "\"");
    const std::string prompt = LoadResString(kind == FlashKind::WLP ? Res::WirelessFileHardwareNotSupported : Res::FileHardwareNotSupported);
    const std::string title = wirelessOnly(ctx) ? std::string("Wireless Linkport") : LoadResString(Res::ProgramTitle);
    ask(ctx, prompt, MsgBoxStyle::OkOnly + MsgBoxStyle::Question, title);
    return false;
}

bool CheckFileNotOlder(Context& ctx, FlashKind kind, const std::string& adapterApplication,
                       const std::string& fileFirmwareVersion)
{
    constexpr int style = MsgBoxStyle::YesNo + MsgBoxStyle::Question;
    if (kind == FlashKind::LP2) {
        if (adapterApplication == kEmptySlot || !(vb::Val(fileFirmwareVersion) < vb::Val(adapterApplication)))
            return true;
        return ask(ctx, LoadResString(Res::FileOlderThanInstalled), style, LoadResString(Res::ProgramTitle)) != MsgBoxResult::No;
    }
    if (!(VersionTextValue(fileFirmwareVersion) < VersionTextValue(adapterApplication)))
        return true;
    const std::string prompt = LoadResString(kind == FlashKind::WLP ? Res::WirelessFileOlderThanInstalled : Res::FileOlderThanInstalled);
    const std::string title = wirelessOnly(ctx) ? std::string(kWirelessToolkitTitle) : LoadResString(Res::ProgramTitle);
    return ask(ctx, prompt, style, title) != MsgBoxResult::No;
}

FlashCheckOutcome gbln_FlashVerificationChecks(Context& ctx, FlashKind kind, const FlashCheckValues& values)
{
    FlashCheckOutcome outcome;
    if (kind == FlashKind::LP2 && values.adapterHardware == LoadResString(Res::NotPresent)) {
        const int answer = ask(ctx, NoHardwareVersionText(),
                               MsgBoxStyle::YesNoCancel + MsgBoxStyle::Question, FlashProgramTitle(ctx));
        outcome.passed = answer == MsgBoxResult::Yes;
        return outcome;
    }
    if (!CheckHardwareCompatible(ctx, kind, values.fileHardwareVersions, values.adapterHardware)
        || !CheckFileNotOlder(ctx, kind, values.adapterApplication, values.fileFirmwareVersion)) {
        outcome.passed = false;
        outcome.enableSelectFile = true;
    }
    return outcome;
}

std::string LptRefusalText()
{
    return std::string("Linkport Toolkit only supports serial port communications.") + kCRLF
           + "Please update your port settings.";
}

std::string InvalidBaudRateText() { return "Invalid baud rate... Flash cannot continue!"; }

std::string NoHardwareVersionText()
{
    return std::string("No hardware version is present on the currently selected adapter.") + kCRLF
           + "Are you sure you want to flash the selected file?";
}

std::string FlashSucceededText() { return LoadResString(Res::FlashSucceeded) + kCRLF + kCRLF + LoadResString(Res::FlashNextSteps); }

std::string FlashProgramTitle(const Context& ctx)
{
    return wirelessOnly(ctx) ? std::string(kWirelessToolkitTitle) : LoadResString(Res::ProgramTitle);
}

std::string FlashScreenCaption(const Context& ctx)
{
    return FlashProgramTitle(ctx) + " - " + LoadResString(Res::FlashScreenName);
}

bool PortIsParallel(const std::string& port) { return vb::Left(port, 3) == "LPT"; }

int16_t PortNumberAfterM(const std::string& portName)
{
    const std::optional<int16_t> n = vb::CInt(vb::Val(vb::Mid(portName, vb::InStr(portName, "M") + 1)));
    return n.value_or(0);
}

std::string UpdatingFirmwareText(FlashKind kind)
{
    const int16_t name = kind == FlashKind::WLP   ? Res::WirelessName
                         : kind == FlashKind::CGP ? Res::CompactName
                                                  : Res::Lp2FullName;
    return "Updating " + LoadResString(name) + " Firmware...";
}

std::string PleaseWaitText() { return std::string("Please wait...") + kCRLF + "This may take up to 45 seconds."; }

} // namespace lp
