#pragma once
// Which help the program opens for F1 and Help Topics.
//
// When the maker's diagnostic service tool is installed (registry value
// "Path" under "SOFTWARE\Halvorn Inc.\SVK\Halvorn Fieldscope"), its help is
// the shared help of the maker's tools and is opened instead of our own
// manual. A file counts as that help when it sits directly in the Path
// folder and is named, in this order of preference and ignoring case:
// "Linkport Toolkit.chm", "LinkportToolkit.chm", "Fieldscope.chm",
// "index.html", "index.htm". Anything else falls back to the manual that
// ships with the program.
#include <string>

#include "core/context.h"

namespace lp {

constexpr const char* kServiceToolHelpKey = "SOFTWARE\\Halvorn Inc.\\SVK\\Halvorn Fieldscope";

// The help file found in `folder` by the rule above, or "".
std::string FindHelpFileInFolder(const std::string& folder);

// The service tool's help file, or "" when the tool or its help is missing.
std::string ServiceToolHelpFile(Context& ctx);

} // namespace lp
