#pragma once
// The Prompts port: message boxes with the Windows button/icon flags, so that
// procedures can state exactly what the user is shown and tests can answer.
#include <string>

namespace lp {

// Button sets (low nibble) and icons, combined by addition as callers do.
namespace MsgBoxStyle {
constexpr int OkOnly = 0;
constexpr int OkCancel = 1;
constexpr int AbortRetryIgnore = 2;
constexpr int YesNoCancel = 3;
constexpr int YesNo = 4;
constexpr int RetryCancel = 5;
constexpr int Critical = 16;
constexpr int Question = 32;
constexpr int Exclamation = 48;
constexpr int Information = 64;
} // namespace MsgBoxStyle

// Answers.
namespace MsgBoxResult {
constexpr int Ok = 1;
constexpr int Cancel = 2;
constexpr int Abort = 3;
constexpr int Retry = 4;
constexpr int Ignore = 5;
constexpr int Yes = 6;
constexpr int No = 7;
} // namespace MsgBoxResult

class Prompts {
public:
    virtual ~Prompts() = default;
    // Shows a modal box and returns the button pressed (MsgBoxResult).
    virtual int msgBox(const std::string& prompt, int style, const std::string& title) = 0;
};

} // namespace lp
