#pragma once
// The Application Flash screen's decisions, free of widgets: which adapter
// kind is flashed, how the chosen file is shown and whether its name suits
// the kind, the default file, and the checks made before a flash (the
// file's hardware list against the adapter, the file's age against the
// installed firmware) with the questions they ask.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/context.h"

namespace lp {

// The adapter kind a flash is for, from the kind flags, tested in the order
// the flash is dispatched: second-generation, wireless, compact.
enum class FlashKind { None, LP2, WLP, CGP };
FlashKind FlashKindOf(const Context& ctx);

// The device-kind text of a kind ("LPII SIP", "WLP", "B&B SIP"; "" for None).
std::string FlashKindText(FlashKind kind);

// The path as lblFileInfo shows it after "File: ": whole up to 40
// characters, else its first 40, "..." and its last 30. Characters are
// counted as the user sees them (UTF-8 sequences are never split).
std::string ShortenFilePath(std::string_view path);

// The extension rule: the path's last three characters must be "apf" or
// "APF" for the second-generation adapter, "hex" or "HEX" for the others.
// Mixed case ("Apf") is refused; so is every path for FlashKind::None.
bool FileSuitsAdapterKind(FlashKind kind, std::string_view path);

// The default file of the second-generation adapter, and the key whose
// presence makes it the default (the trailing backslash is part of it).
inline constexpr const char* kDefaultFlashFile = "C:\\Program Files\\Halvorn\\Linkports\\Flash\\LP2v3i1.0.apf";
inline constexpr const char* kDefaultFlashFileKey = "SOFTWARE\\Halvorn Inc.\\Linkport Toolkit\\";

// The file to select when none is: the trimmed built-in path, for the
// second-generation adapter when the key exists; nothing otherwise (the
// select-file dialog opens then). Whether the file exists is not asked.
std::optional<std::string> DefaultFlashFile(Context& ctx, FlashKind kind);

// False for a path this system cannot have: a drive-letter path ("C:\...")
// anywhere but on Windows. Such a default is never preselected there.
bool PathFitsThisSystem(std::string_view path);

// The numeric reading of a version text used for the compact and wireless
// adapters: with d the position of the first ".", major the text before it,
// minor the d characters after it and tail the last d characters, the
// numeric values of the three are written one after another and that text's
// numeric value is rounded half to even. 1.2.3 reads 120.3 and gives 120,
// 3.12 gives 31212, 1.0 gives 100.
//
// Where the arithmetic has no answer of its own:
//  - the empty text gives 0;
//  - a text without "." is all major, minor and tail are 0: "3" reads as
//    "3.0" (300), and "Not Present" gives 0;
//  - a text that begins with "." has an empty major (0) and d = 1.
// VersionTextValue is the rounded value, which may lie outside 16 bits
// (3.45 gives 34545); VersionTextToNumber is that value as a 16-bit integer,
// or nothing when it does not fit.
double VersionTextValue(std::string_view text);
std::optional<int16_t> VersionTextToNumber(std::string_view text);

// What the checks compare: the adapter's rows and the file's header.
struct FlashCheckValues {
    std::string adapterHardware;     // the hardware version row
    std::string adapterApplication;  // the application version row
    std::string fileHardwareVersions; // "Supported Hardware Version"
    std::string fileFirmwareVersion;  // "Application Firmware Version"
};

// True when an item of the comma-separated list equals `hardware` exactly
// (no trimming, case counts). Otherwise shows 104 (wireless: 1050) and gives
// false.
bool CheckHardwareCompatible(Context& ctx, FlashKind kind, const std::string& supportedList,
                             const std::string& hardware);

// False when the file is older than the installed firmware and the user
// answers No to 105 (wireless: 1051). The second-generation adapter
// compares leading numeric values and never asks when the adapter says
// "255.255"; the others compare VersionTextValue. Equal is not older.
bool CheckFileNotOlder(Context& ctx, FlashKind kind, const std::string& adapterApplication,
                       const std::string& fileFirmwareVersion);

struct FlashCheckOutcome {
    bool passed = true;
    // The file was refused (hardware or age): Select File is enabled again
    // so that another file can be chosen. Not after a No to the question
    // about the missing hardware version.
    bool enableSelectFile = false;
    explicit operator bool() const { return passed; }
};

// The pre-flash checks. For the second-generation adapter a hardware row
// showing "Not Present" first asks whether to flash anyway (Yes goes on
// without the other checks; No and Cancel stop).
FlashCheckOutcome gbln_FlashVerificationChecks(Context& ctx, FlashKind kind, const FlashCheckValues& values);

// Texts and titles the screen shows.
std::string LptRefusalText();           // "Linkport Toolkit only supports serial port ..."
std::string InvalidBaudRateText();      // "Invalid baud rate... Flash cannot continue!"
std::string NoHardwareVersionText();    // the question before flashing an unknown adapter
std::string FlashSucceededText();       // 509, two line breaks, 500
// The program's title by edition (502, or "Wireless Linkport Toolkit").
std::string FlashProgramTitle(const Context& ctx);
// "Application Firmware Flash" with the program title, as the main window's
// caption.
std::string FlashScreenCaption(const Context& ctx);

// True when the configured port is a parallel port ("LPT...").
bool PortIsParallel(const std::string& port);

// The port number in a port name: the text after its first "M" ("COM3"
// gives 3); 0 when there is none or it does not fit.
int16_t PortNumberAfterM(const std::string& portName);

// The progress dialog's texts for a kind.
std::string UpdatingFirmwareText(FlashKind kind); // "Updating " name " Firmware..."
std::string PleaseWaitText();                     // "Please wait..." CR LF "This may take ..."

} // namespace lp
