#pragma once
// One-line help texts for the main window's menu items, shown in status
// panel 1 while an item is highlighted.
#include <string>
#include <string_view>

namespace lp {

// The running number of a menu item: the items of the menu bar and its
// submenus counted in order from 1, the way the menu stands:
//
//    1 File            2 Exit
//    3 Information     4 Summary
//    5 Utilities       6 Application Firmware Flash   7 Preferences
//    8 Help            9 About ...                   10 Help Topics
//
// The adapter-test item (mnuLPTest) was hidden in that menu, and a hidden
// item is not counted: it has no number (0) and shows no text, and showing it
// does not move Preferences or the Help items. The Help menu lists Help
// Topics above About, as menus usually do, but each keeps its number, so the
// text always describes the item it stands beside.
int MenuRunningIndex(std::string_view menuObjectName);

// The status text of a running number; empty for any number not in the
// table (the menu titles among them).
std::string MenuStatusText(int runningIndex);

// Commands of the window's system menu are numbered 28672 and up; they never
// have a status text.
constexpr int kFirstSystemCommand = 28672;
std::string MenuStatusTextForCommand(int runningIndex, int commandNumber);

} // namespace lp
