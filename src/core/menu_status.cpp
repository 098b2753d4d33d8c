#include "core/menu_status.h"

#include "core/string_table.h"

namespace lp {

int MenuRunningIndex(std::string_view name)
{
    struct Item {
        std::string_view name;
        int index;
    };
    static constexpr Item kItems[] = {
        {"mnuFile", 1},
        {"mnuFileExit", 2},
        {"mnuInformation", 3},
        {"mnuInformationSummary", 4},
        {"mnuUtilities", 5},
        {"mnuUtilitiesApplicationFirmwareFlash", 6},
        {"mnuPreferences", 7},
        {"mnuHelp", 8},
        {"mnuHelpAbout", 9},
        {"mnuHelpTopics", 10},
    };
    for (const auto& item : kItems) {
        if (item.name == name)
            return item.index;
    }
    return 0;
}

std::string MenuStatusText(int runningIndex)
{
    switch (runningIndex) {
    case 2: return "Exit " + LoadResString(Res::ProgramTitle);
    case 4: return "View Summary Information";
    case 6: return "Flash the adapter";
    case 7: return "View/ Modify Preferences";
    case 9: return "About " + LoadResString(Res::ProgramTitle);
    case 10: return "Help Topics";
    default: return std::string();
    }
}

std::string MenuStatusTextForCommand(int runningIndex, int commandNumber)
{
    if (commandNumber >= kFirstSystemCommand)
        return std::string();
    return MenuStatusText(runningIndex);
}

} // namespace lp
