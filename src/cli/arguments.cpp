#include "cli/arguments.h"

#include <algorithm>

namespace lp::cli {

namespace {

struct CommandHelp {
    const char* name;
    const char* synopsis;
    const char* text;
};

const CommandHelp kCommands[] = {
    {"summary", "summary", "Reads the configured adapter and prints its Summary rows."},
    {"flash", "flash FILE",
     "Checks FILE against the adapter (hardware versions, an older file) and flashes it.\n"
     "Questions are asked on the terminal; --yes or --no answers them."},
    {"test", "test", "Runs the adapter test: basic communication, driver against firmware, J1708,\n"
                     "CDL and J1939 through the adapter's RP1210 driver."},
    {"ports", "ports", "Lists the serial ports present (COMn and their devices)."},
    {"wireless", "wireless list | add NAME ADDRESS [SERIAL] | remove N|NAME | select N|NAME",
     "Lists and edits the wireless adapters in LPIPRP32.INI (N counts from 1)."},
    {"config", "config get [KEY] | set KEY VALUE",
     "Reads or writes the settings of Preferences. KEY: device (lp2, compact,\n"
     "wireless or the kind text), lp2-port (COMn), compact-port (COMn or COMX),\n"
     "compact-rate (DEFAULT, N1, ...)."},
    {"log", "log", "Prints the flash log, one attempt a line."},
};

const char* const kCommonOptions =
    "Options (every command):\n"
    "  --json         print one JSON document on standard output\n"
    "  --yes, --no    answer the questions Yes or No without asking\n"
    "  --demo[=KIND]  use simulated adapters (lp2, compact or wireless; default lp2)\n"
    "  --help         show this text\n"
    "  --version      show the program's version\n"
    "\n"
    "Exit codes: 0 done, 1 the adapter or the flash failed, 2 usage or configuration.\n";

} // namespace

const std::vector<std::string>& commandNames()
{
    static const std::vector<std::string> names = [] {
        std::vector<std::string> v;
        for (const CommandHelp& c : kCommands)
            v.emplace_back(c.name);
        return v;
    }();
    return names;
}

bool parseArguments(const std::vector<std::string>& args, Arguments& out, std::string& error)
{
    bool yes = false, no = false, optionsEnded = false;
    std::vector<std::string> words;
    for (const std::string& arg : args) {
        if (optionsEnded || arg.empty() || arg[0] != '-' || arg == "-") {
            words.push_back(arg);
        } else if (arg == "--") {
            optionsEnded = true;
        } else if (arg == "--json") {
            out.json = true;
        } else if (arg == "--yes" || arg == "-y") {
            yes = true;
        } else if (arg == "--no" || arg == "-n") {
            no = true;
        } else if (arg == "--help" || arg == "-h") {
            out.help = true;
        } else if (arg == "--version") {
            out.version = true;
        } else if (arg == "--demo") {
            out.demo = "lp2";
        } else if (arg.rfind("--demo=", 0) == 0) {
            out.demo = arg.substr(7);
            if (out.demo != "lp2" && out.demo != "compact" && out.demo != "wireless") {
                error = "unknown demo adapter \"" + out.demo + "\" (lp2, compact or wireless)";
                return false;
            }
        } else {
            error = "unknown option " + arg;
            return false;
        }
    }
    if (yes && no) {
        error = "--yes and --no cannot both be given";
        return false;
    }
    out.answer = yes ? Answer::Yes : no ? Answer::No : Answer::Ask;
    if (!words.empty()) {
        out.command = words.front();
        out.operands.assign(words.begin() + 1, words.end());
        const auto& names = commandNames();
        if (std::find(names.begin(), names.end(), out.command) == names.end()) {
            error = "unknown command \"" + out.command + "\"";
            return false;
        }
    } else if (!out.help && !out.version) {
        error = "no command given";
        return false;
    }
    return true;
}

std::string usageText(const std::string& command)
{
    for (const CommandHelp& c : kCommands) {
        if (command == c.name)
            return std::string("Usage: linkport ") + c.synopsis + " [OPTIONS]\n\n" + c.text + "\n\n" + kCommonOptions;
    }
    std::string text = "Usage: linkport COMMAND [OPTIONS]\n\n"
                       "Reads, flashes and tests a Linkport datalink adapter from the command line.\n\n"
                       "Commands:\n";
    for (const CommandHelp& c : kCommands)
        text += std::string("  ") + c.synopsis + "\n";
    return text + "\n" + kCommonOptions;
}

} // namespace lp::cli
