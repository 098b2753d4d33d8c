#pragma once
// Files that ship with the programs: the test driver library and the demo
// firmware. They sit in one of two places relative to the running program's
// folder: the build tree (bin/../lib, bin/../demo-firmware) or an installed
// tree (bin/../lib/linkport-toolkit, bin/../share/linkport-toolkit/...).
// On Windows the installed copy is one folder (LP2RP32.dll and
// demo-firmware\ beside the programs).
// Every place that looks for one of them goes through here, so a package and
// a build find the same things.
#include <string>
#include <vector>

namespace lp {

enum class ShippedFile {
    DriverLibrary, // libLP2RP32.so, the test RP1210 driver library
    DemoFirmware,  // the folder of demo firmware files
};

// Where to look, best first, for a program in `programFolder`. Paths are
// normalised; nothing is checked on disk.
std::vector<std::string> shippedFileCandidates(ShippedFile file, const std::string& programFolder);

// The first candidate that exists (a regular file for the library, a folder
// for the firmware); empty when none does or `programFolder` is empty.
std::string findShippedFile(ShippedFile file, const std::string& programFolder);

// The folder of the running program; empty when the system cannot say.
std::string runningProgramFolder();

// findShippedFile for the running program.
std::string findShippedFile(ShippedFile file);

// "../lib/libLP2RP32.so or ../lib/linkport-toolkit/libLP2RP32.so": the
// candidates relative to the program's folder, for messages.
std::string shippedFilePlaces(ShippedFile file);

} // namespace lp
