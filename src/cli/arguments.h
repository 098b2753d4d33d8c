#pragma once
// The command line of `linkport`: the command, its operands and the options
// every command takes. Options may stand anywhere; "--" ends them.
#include <string>
#include <vector>

namespace lp::cli {

// Exit codes.
inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1; // the adapter or the flash failed
inline constexpr int kExitUsage = 2;  // usage or configuration

enum class Answer { Ask, Yes, No };

struct Arguments {
    std::string command;               // "summary", "flash", ...
    std::vector<std::string> operands; // what follows the command
    bool json = false;
    bool help = false;
    bool version = false;
    Answer answer = Answer::Ask;
    std::string demo; // "" none, else lp2, compact or wireless
};

// The commands, in the order the help lists them.
const std::vector<std::string>& commandNames();

// False with `error` for an unknown option, an unknown command, --yes with
// --no, or a missing command (unless --help or --version is asked).
bool parseArguments(const std::vector<std::string>& args, Arguments& out, std::string& error);

// The help of the program, or of one command.
std::string usageText(const std::string& command = {});

} // namespace lp::cli
