#pragma once
// Message boxes on a terminal: a box is printed on standard error, a
// question is answered by --yes / --no or read from standard input. Without
// either and without a terminal the question stays unanswered (No, or
// Cancel where the box has it) and its text is kept, so the command can end
// saying what it would have asked.
#include <optional>
#include <string>
#include <vector>

#include "cli/arguments.h"
#include "firmware/flash_log.h"
#include "ports/prompts.h"

namespace lp::cli {

class TerminalPrompts final : public Prompts {
public:
    explicit TerminalPrompts(Answer answer) : answer_(answer) {}
    int msgBox(const std::string& prompt, int style, const std::string& title) override;

    // Every box shown, questions included, in order.
    const std::vector<FlashLogMessage>& messages() const { return messages_; }
    // The first question that could be neither answered nor asked.
    const std::optional<std::string>& unanswered() const { return unanswered_; }
    // How many questions were answered No or Cancel (or not at all).
    size_t declined() const { return declined_; }

private:
    int ask(const std::string& prompt, int style, const std::string& title);
    Answer answer_;
    std::vector<FlashLogMessage> messages_;
    std::optional<std::string> unanswered_;
    size_t declined_ = 0;
};

// True when standard input / standard error are terminals.
bool stdinIsTerminal();
// A message's text with its line ends as a terminal wants them.
std::string TerminalText(const std::string& text);
bool stderrIsTerminal();

} // namespace lp::cli
