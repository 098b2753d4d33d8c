#pragma once
// The simulator's command line: which adapters to start, their versions and
// faults, and where their configuration goes. linkport-sim is this parser in
// front of startDemo(); the program's --demo uses demoOptionsFor().
//
// Every option is one row of the table in demo_option_table.cpp, so a fault
// that a model learns later is one more row there.
#include <string>
#include <vector>

#include "demo/demo_session.h"

namespace lp::sim {

struct SimCommand {
    enum class Action { Run, Help, Version };
    Action action = Action::Run;
    DemoOptions demo;
    // Print shell "export" lines and go on running in the background.
    bool printEnvironment = false;
    // Set everything up, describe it, and end at once.
    bool setupOnly = false;
};

// The exit code of a command line that cannot be followed.
constexpr int kUsageError = 2;

// 0 when the arguments (without the program name) are good, else
// kUsageError with `error` saying why. --help or --version anywhere asks for
// that and nothing else.
int parseSimArguments(const std::vector<std::string>& args, SimCommand& command, std::string& error);

// The --help text.
std::string simUsage();

// The demo the program starts with --demo: the second-generation adapter on
// COM1, the compact one on COM7, wireless adapters on 127.0.0.2 and
// 127.0.0.3, and "PrevAdapter" for `select` (lp2, compact or wireless).
bool demoOptionsFor(const std::string& select, DemoOptions& options, std::string& error);

// Checks that a wireless address can be served: dotted IPv4, loopback.
bool checkWirelessAddress(const std::string& address, std::string& error);

} // namespace lp::sim
