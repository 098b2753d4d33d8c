#pragma once
// The demo firmware files: one per adapter kind (an APF for the
// second-generation adapter, HEX files for the compact and wireless ones),
// shipped with the programs (platform/shipped_files.h) and copied into the demo
// session's firmware folder, so a demo flash needs no file of the user's.
#include <string>

namespace lp {

// The demo firmware folder of the build tree or the installed tree, seen
// from the running program; empty when neither is there.
std::string DemoFirmwareSourceFolder();
// Copies every .apf and .hex file of the source folder into `folder`. False
// with `error` when there is no source folder or a copy failed.
bool WriteDemoFirmwareFiles(const std::string& folder, std::string& error);

} // namespace lp
