#pragma once
// What every command gets: the context over the real ports, the terminal
// prompts, the parsed arguments, and the one output document.
#include <string>

#include "cli/arguments.h"
#include "cli/terminal_prompts.h"
#include "core/context.h"
#include "core/json_writer.h"

namespace lp::cli {

struct Session {
    Context& ctx;
    const Arguments& args;
    TerminalPrompts& prompts;
    // Set by a command: what goes to standard output (JSON or text).
    JsonWriter json;
    std::string text;
};

// Ends a command with an error: {"error": ...} or the text on stderr.
int fail(Session& s, int code, const std::string& message);

// The device kind the commands serve, from "PrevAdapter", with the flags
// set; the edition follows the kind, so the compact adapter needs no /CLP.
void PrepareContext(Context& ctx);

int runSummary(Session& s);
int runFlash(Session& s);
int runTest(Session& s);
int runPorts(Session& s);
int runWireless(Session& s);
int runConfig(Session& s);
int runLog(Session& s);

} // namespace lp::cli
