#include "core/string_table.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace lp {

namespace {

struct Entry {
    int16_t id;
    std::string_view text;
};

// Kept sorted by number: lookups are a binary search. Doubled blanks after a
// full stop and the trailing blanks of 503/504 are deliberate; callers append
// file names and error numbers to those two.
//
// The second brand's block (2xx, 6xx, 9xx) is carried along as data so that
// a rebranded build needs no other change; nothing in this program looks it
// up.
constexpr Entry kTable[] = {
    // Brand A: messages.
    {101, "A copy of HVN Linkport Application is already running.  Only one copy is allowed to run at a time."},
    {102, "The HVN Linkport II software has not been properly installed.  Please re-install the HVN Linkport II software before running this program."},
    {103, "Unable to connect to the Halvorn Linkport II.  Check the cable and connectors between the PC and the Halvorn Linkport II.  Verify the linkport is getting power."},
    {104, "The selected file does not support the HVN Linkport II's hardware version.  Please select another file."},
    {105, "The selected file is older than the firmware currently installed on the Linkport II.  Do you wish to continue with the flash process?"},
    {106, "No file was selected for Application Flash.  Please select a file then press the OK button.  To exit the Select File dialog press the Cancel button."},
    {107, "The file selected is not valid for flashing.  Please choose an Application Firmware file and then press OK."},
    {108, "The firmware file selected is not valid for Application Flashing.  Please choose a file with a File Type of \"Application\" and then press OK."},
    {109, "Flash was unsuccessful.  Disconnect the power from the Linkport II, then reconnect the power before attempting to flash again."},
    {110, "This version of the Linkport II software does not allow Application Firmware Flashing.  Please see the Linkport II ReadMe.txt file for more information."},
    {111, "Unable to connect to the Compact Linkport.  Check the cable and connectors between the PC and the Compact Linkport. Verify the Compact Linkport is getting power."},
    {112, "The selected file does not support the Compact Linkport hardware version.  Please select another file."},
    {113, "The selected file is older than the firmware currently installed on the Compact Linkport.  Do you wish to continue with the flash process?"},
    {114, "The firmware file selected is not valid for Application Flashing.  Please choose a file with a File Type of \"Firmware\" and then press OK."},
    {115, "Flash was unsuccessful. Disconnect the power from the Compact Linkport, then reconnect the power before attempting to flash again."},
    {116, "Please check your serial port connection."},

    // Brand B: messages.
    {201, "A copy of HVN Linkport Application is already running.  Only one copy is allowed to run at a time."},
    {202, "The ORWEN Linkport software has not been properly installed.  Please re-install the ORWEN Linkport software before running this program."},
    {203, "Unable to connect to the ORWEN Linkport.  Check the cable and connectors between the PC and the ORWEN Linkport.  Verify the linkport is getting power."},
    {204, "The selected file does not support the ORWEN Linkport's hardware version.  Please select another file."},
    {205, "The selected file is older than the firmware currently installed on the Linkport.  Do you wish to continue with the flash process?"},
    {206, "No file was selected for Application Flash.  Please select a file then press the OK button.  To exit the Select File dialog press the Cancel button."},
    {207, "The file selected is not valid for flashing.  Please choose an Application Firmware file and then press OK."},
    {208, "The firmware file selected is not valid for Application Flashing.  Please choose a file with a File Type of \"Application\" and then press OK."},
    {209, "Flash was unsuccessful.  Disconnect the power from the Linkport, then reconnect the power before attempting to flash again."},
    {210, "This version of the Linkport software does not allow Application Firmware Flashing.  Please see the Linkport ReadMe.txt file for more information."},
    {211, "Unable to connect to the Compact Linkport.  Check the cable and connectors between the PC and the Compact Linkport. Verify the Compact Linkport is getting power."},
    {212, "The selected file does not support the Compact Linkport hardware version.  Please select another file."},
    {213, "The selected file is older than the firmware currently installed on the Compact Linkport.  Do you wish to continue with the flash process?"},
    {214, "The firmware file selected is not valid for Application Flashing.  Please choose a file with a File Type of \"Firmware\" and then press OK."},
    {215, "Flash was unsuccessful. Disconnect the power from the Compact Linkport, then reconnect the power before attempting to flash again."},
    {216, "Please check your serial port connection."},

    // Brand A: labels and titles.
    {500, "You can now go to Toolkit, return to Flash, or Exit the program."},
    {501, "Not Found"},
    {502, "HVN Linkport Toolkit"},
    {503, "File: "},
    {504, "Error Code # "},
    {505, "Application"},
    {506, "Boot Firmware"},
    {507, "Boot Download Helper"},
    {508, "Not Present"},
    {509, "Flash Completed Successfully!"},
    {510, "Application Firmware Flash"},
    {511, "Summary"},
    {512, "HVN Linkport II"},
    {513, "Halvorn Inc."},
    {514, "Copyright (C) 2005 Halvorn Inc."},
    {515, "Version 1.3"},
    {516, "Linkport II"},
    {517, "Firmware"},
    {518, "Compact Linkport"},
    {519, "Adapter Serial Number"},
    {520, "USB Driver Version"},
    {521, "Linkport II Driver Version"},
    {522, "Compact Linkport Driver Version"},
    {523, "Please select and click OK."},

    // Brand B: labels and titles.
    {600, "You can now go to Toolkit, return to Flash, or Exit the program."},
    {601, "Not Found"},
    {602, "ORWEN Linkport Toolkit"},
    {603, "File: "},
    {604, "Error Code # "},
    {605, "Application"},
    {606, "Boot Firmware"},
    {607, "Boot Download Helper"},
    {608, "Not Present"},
    {609, "Flash Completed Successfully!"},
    {610, "Application Firmware Flash"},
    {611, "Summary"},
    {612, "ORWEN Linkport"},
    {613, "Dunmore Engines Company Limited"},
    {614, "Copyright (C) 2005 Dunmore Engines Company Limited"},
    {615, "Version 1.3"},
    {616, "Linkport"},
    {617, "Firmware"},
    {618, "Compact Linkport"},
    {619, "Adapter Serial Number"},
    {620, "USB Driver Version"},
    {621, "Linkport II Driver Version"},
    {622, "Compact Linkport Version"},
    {623, "Please select and click OK."},

    // Brand A: registry keys under HKEY_LOCAL_MACHINE.
    {800, "SOFTWARE\\Halvorn Inc.\\Linkport II"},
    {801, "SOFTWARE\\Halvorn Inc.\\Linkport Toolkit"},

    // Brand B: registry keys.
    {900, "SOFTWARE\\Dunmore\\ORWEN Linkport"},
    {901, "SOFTWARE\\Dunmore\\Linkport Toolkit"},

    // Wireless adapter.
    {1001, "Wireless Linkport"},
    {1050, "The selected file does not support the Wireless Linkport hardware version. Please select another file."},
    {1051, "The selected file is older than the firmware currently installed on the Wireless Linkport. Do you wish to continue with the flash process?"},
};

// Sorted and each number once: the lookup would never find a second entry.
static_assert(std::adjacent_find(std::begin(kTable), std::end(kTable),
                                 [](const Entry& a, const Entry& b) { return a.id >= b.id; })
                  == std::end(kTable),
              "the string table must stay sorted by number, each number once");

const Entry* find(int16_t id)
{
    auto it = std::lower_bound(std::begin(kTable), std::end(kTable), id,
                               [](const Entry& e, int16_t key) { return e.id < key; });
    if (it == std::end(kTable) || it->id != id)
        return nullptr;
    return it;
}

} // namespace

std::string LoadResString(int16_t id)
{
    const Entry* e = find(id);
    return e ? std::string(e->text) : std::string();
}

bool HasResString(int16_t id) { return find(id) != nullptr; }

} // namespace lp
