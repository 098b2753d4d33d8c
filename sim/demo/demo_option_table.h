#pragma once
// The options of linkport-sim as data: one row per option, in the order and
// under the headings of the help text. A row names its value and says what
// the value does to the command, to one adapter's settings or to its model
// before the model starts; demo_options.cpp reads the rows to parse a
// command line and to write the help text.
#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "demo/demo_options.h"

namespace lp::sim {

enum class OptionValue { None, Optional, Required };

// What a row does with its value: false, with `error` saying what was
// expected, for a value it cannot take.
using GeneralApply = std::function<bool(SimCommand&, const std::string&, std::string&)>;
using Lp2Apply = std::function<bool(DemoLp2&, const std::string&, std::string&)>;
using CompactApply = std::function<bool(DemoCompact&, const std::string&, std::string&)>;
using WirelessApply = std::function<bool(DemoWireless&, const std::string&, std::string&)>;

struct SimOption {
    const char* name; // without "--"; null: a heading of the help text
    OptionValue value;
    const char* valueName;
    bool fault; // listed among the adapter's faults when given
    const char* help;
    // None for --help and --version, which the parser answers itself.
    std::variant<std::monostate, GeneralApply, Lp2Apply, CompactApply, WirelessApply> apply;
};

// Every row and heading in the order of the help text.
const std::vector<SimOption>& simOptionTable();

// The row of an option name without "--"; null when there is none.
const SimOption* findSimOption(const std::string& name);

} // namespace lp::sim
