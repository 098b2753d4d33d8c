#include "cli/terminal_prompts.h"

#include <cstdio>
#include <iostream>

#include "core/vb_text.h"

#ifdef _WIN32
#include <io.h>
#define isatty _isatty
#define fileno _fileno
#else
#include <unistd.h>
#endif

namespace lp::cli {

bool stdinIsTerminal() { return isatty(fileno(stdin)) != 0; }

std::string TerminalText(const std::string& text)
{
    // The boxes' texts break lines with CR LF, and some with a bare CR,
    // which on a terminal would write over the start of the line.
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\r')
            out += text[i];
        else if (i + 1 >= text.size() || text[i + 1] != '\n')
            out += '\n';
    }
    return out;
}
bool stderrIsTerminal() { return isatty(fileno(stderr)) != 0; }

int TerminalPrompts::msgBox(const std::string& prompt, int style, const std::string& title)
{
    const int answer = ask(prompt, style, title);
    if (answer == MsgBoxResult::No || answer == MsgBoxResult::Cancel)
        ++declined_;
    return answer;
}

int TerminalPrompts::ask(const std::string& text, int style, const std::string& title)
{
    const std::string prompt = vb::ShownText(text);
    messages_.push_back({prompt, title});
    const int buttons = style & 0x0F;
    const bool question = buttons == MsgBoxStyle::YesNo || buttons == MsgBoxStyle::YesNoCancel;
    std::fprintf(stderr, "%s: %s\n", title.c_str(), TerminalText(prompt).c_str());
    if (!question) {
        // Boxes with OK (and Cancel, Retry ...) only tell something here.
        return buttons == MsgBoxStyle::AbortRetryIgnore ? MsgBoxResult::Abort
               : buttons == MsgBoxStyle::RetryCancel   ? MsgBoxResult::Cancel
                                                        : MsgBoxResult::Ok;
    }
    const int refusal = buttons == MsgBoxStyle::YesNoCancel ? MsgBoxResult::Cancel : MsgBoxResult::No;
    if (answer_ == Answer::Yes) {
        std::fputs("(answered Yes)\n", stderr);
        return MsgBoxResult::Yes;
    }
    if (answer_ == Answer::No) {
        std::fputs("(answered No)\n", stderr);
        return MsgBoxResult::No;
    }
    if (!stdinIsTerminal()) {
        if (!unanswered_)
            unanswered_ = prompt;
        return refusal;
    }
    for (;;) {
        std::fputs(buttons == MsgBoxStyle::YesNoCancel ? "[y]es, [n]o or [c]ancel? " : "[y]es or [n]o? ", stderr);
        std::fflush(stderr);
        std::string line;
        if (!std::getline(std::cin, line))
            return refusal;
        if (line == "y" || line == "Y" || line == "yes" || line == "Yes")
            return MsgBoxResult::Yes;
        if (line == "n" || line == "N" || line == "no" || line == "No")
            return MsgBoxResult::No;
        if (buttons == MsgBoxStyle::YesNoCancel && (line == "c" || line == "C" || line == "cancel"))
            return MsgBoxResult::Cancel;
    }
}

} // namespace lp::cli
