#pragma once
// What the select-file dialog decides, free of widgets: where it opens,
// which files it lists, and whether the file the user chose may be flashed
// into the adapter of the current kind (with the message when not).
#include <functional>
#include <string>
#include <vector>

#include "core/context.h"
#include "firmware/firmware_header.h"
#include "operations/flash_checks.h"

namespace lp {

// The registry value, under the program's key, that keeps the folder of the
// last file chosen, so the dialog opens there next time (also after a
// restart). The adapter software's "FlashDir" (under resource 800's key) is
// where it opens before any file was chosen.
inline constexpr const char* kLastFlashDirValue = "LastFlashDir";

// The folder the dialog opens in: the remembered folder when it still
// exists, else "FlashDir" when it exists, else empty text (the caller's
// choice: the user's home folder). `folderExists` answers for a path.
std::string SelectFileStartFolder(Context& ctx, const std::function<bool(const std::string&)>& folderExists);

// Keeps `folder` as the one to open in next time (nothing for empty text).
void RememberFlashFolder(Context& ctx, const std::string& folder);

// The file-type filter of a kind, as the dialog's type list shows it, and
// whether a file name passes it. The filter is the screen's extension rule,
// so the dialog never lists a file that the screen would refuse later.
std::string FirmwareFileFilterText(FlashKind kind);
bool FirmwareFileListed(FlashKind kind, const std::string& fileName);
// Sorts names for the lists: ignoring ASCII case, then by bytes.
void SortFileNames(std::vector<std::string>& names);

// The FirmwareType a kind flashes: "Application", "Firmware" or
// "Wireless Firmware".
std::string FirmwareTypeFor(FlashKind kind);
// The refusal of a file of another type: 108, 114, and for the wireless
// adapter the same words asking for "Wireless Firmware".
std::string FirmwareTypeRefusalText(FlashKind kind);

// A firmware file is one whose header names its type and its version: a
// file that lacks either (any text file, a file that cannot be read, a
// folder) is "not valid for flashing" (107).
bool IsFirmwareFileHeader(const FirmwareFileHeader& header);

// The check made when OK is pressed. An empty path gives 106; a file that is
// not a firmware file 107; a type that does not suit the kind 108, 114 or
// the wireless text. The box has the exclamation icon and the program's
// title; the dialog stays open after it. True when the file may be chosen.
bool AcceptSelectedFile(Context& ctx, FlashKind kind, const std::string& path);

} // namespace lp
