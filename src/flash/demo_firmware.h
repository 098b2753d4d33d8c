#pragma once
// The demo firmware files: one per adapter kind (an APF for the
// second-generation adapter, HEX files for the compact and wireless ones),
// installed beside the programs in demo-firmware/ and copied into the demo
// session's firmware folder, so a demo flash needs no file of the user's.
#include <string>

namespace lp {

// <folder of the running program>/../demo-firmware; empty when it is not
// there.
std::string DemoFirmwareSourceFolder();
// Copies every .apf and .hex file of the source folder into `folder`. False
// with `error` when there is no source folder or a copy failed.
bool WriteDemoFirmwareFiles(const std::string& folder, std::string& error);

} // namespace lp
