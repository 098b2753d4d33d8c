#pragma once
// The decisions the main window makes while it starts and switches screens,
// kept free of widgets so that they can be checked on their own: edition,
// device kind and its correction, captions and status texts, the first
// screen, and the sizes given in twips.
#include <cstdint>
#include <string>

#include "core/context.h"

namespace lp {

// Screen keys, as the menus, toolbar buttons and screens use them.
namespace ScreenKey {
inline constexpr const char* Summary = "Summary";
inline constexpr const char* ApplicationFlash = "Application Flash";
inline constexpr const char* Preferences = "Preferences";
inline constexpr const char* LPTest = "LPTest";
inline constexpr const char* Exit = "Exit";
} // namespace ScreenKey

// True when the command line begins with the switch; both are upper-cased
// first, so case does not matter, but a leading blank does.
bool CommandLineBeginsWith(const std::string& commandLine, const std::string& switchText);

// The edition: 2 for "/CLP" at the start of the command line or when the
// other service tool is installed, else 1. Needs the registry port.
int16_t ChooseToolkitMode(Context& ctx);

// g_strDeviceKind from "PrevAdapter" ("WLP" in the wireless-only edition).
void ChooseDeviceKind(Context& ctx);

// Rewrites "PrevAdapter" to "LPII SIP" when the stored kind does not belong
// to the edition: a compact adapter in the standard edition, a wireless one
// in the compact edition. True when it wrote.
bool CorrectDeviceKind(Context& ctx);

// Re-reads the kind (outside the wireless-only edition) and sets the three
// device flags from it. An unknown or empty kind leaves the flags alone.
void ApplyDeviceFlags(Context& ctx);

// "Preferences" when no device kind is stored, "Application Flash" for a
// leading "/SIPUpgrade", otherwise "Summary".
std::string FirstScreenKey(const Context& ctx);

// The second status-bar panel: "v" and the program version ("v1.0.0" in the
// wireless-only edition).
std::string StatusVersionText(int16_t toolkitMode);

struct MainCaptions {
    std::string window;    // the main window's caption
    std::string aboutMenu; // mnuHelpAbout
};
MainCaptions MainWindowCaptions(int16_t toolkitMode);

// The caption a screen gives the main window: the program title, " - " and
// the screen's name.
std::string ScreenCaption(int16_t toolkitMode, const std::string& screenName);

// Status panel 1 restored from the main window's caption: the text from two
// characters after its first "-" to the end. A caption without "-" loses its
// first character, as Mid$(caption, InStr(caption, "-") + 2)
// did.
std::string PanelTextFromCaption(const std::string& caption);

// Driver versions of the second-generation adapter software that cannot
// flash application firmware (exact text comparison).
bool DriverRefusesFlash(const std::string& lp2DriverVersion);

struct AboutTexts {
    std::string caption;
    std::string version;
    std::string title;
    std::string copyright;
};
AboutTexts AboutDialogTexts(int16_t toolkitMode);

// The program's own legal-copyright line (its version record).
std::string LegalCopyright();

// Twips to pixels at the given dots per inch (1440 twips an inch), rounded.
int TwipsToPixels(int twips, double dpi);

// The main window's size in the normal window state.
constexpr int kMainWindowWidthTwips = 8600;
constexpr int kMainWindowHeightTwips = 7600;

// The exit/return dialog is its message label's height plus 1500 twips, so
// the buttons below stay visible for texts of any length.
constexpr int kExitDialogExtraTwips = 1500;
int ExitDialogHeightPixels(int labelHeightPixels, double dpiY);

} // namespace lp
