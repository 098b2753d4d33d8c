#include "doubles/scripted_prompts.h"

namespace lp::sim {

int ScriptedPrompts::firstButton(int style)
{
    switch (style & 0x0F) {
    case MsgBoxStyle::AbortRetryIgnore: return MsgBoxResult::Abort;
    case MsgBoxStyle::YesNoCancel:
    case MsgBoxStyle::YesNo: return MsgBoxResult::Yes;
    case MsgBoxStyle::RetryCancel: return MsgBoxResult::Retry;
    default: return MsgBoxResult::Ok; // OkOnly, OkCancel and unknown sets
    }
}

int ScriptedPrompts::msgBox(const std::string& prompt, int style, const std::string& title)
{
    boxes_.push_back({prompt, style, title});
    if (answers_.empty())
        return firstButton(style);
    int result = answers_.front();
    answers_.pop_front();
    return result;
}

std::vector<std::string> ScriptedPrompts::prompts() const
{
    std::vector<std::string> texts;
    texts.reserve(boxes_.size());
    for (const auto& box : boxes_)
        texts.push_back(box.prompt);
    return texts;
}

} // namespace lp::sim
