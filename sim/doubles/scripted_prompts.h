#pragma once
// Prompts for tests: every box is recorded, and answers come from a queue the
// test fills beforehand. With the queue empty a box is answered with its
// first button, as pressing Enter on a message box would.
#include <deque>
#include <string>
#include <vector>

#include "ports/prompts.h"

namespace lp::sim {

struct PromptRecord {
    std::string prompt;
    int style = 0;
    std::string title;
};

class ScriptedPrompts final : public Prompts {
public:
    int msgBox(const std::string& prompt, int style, const std::string& title) override;

    // Queues the answer for the next box (a MsgBoxResult value).
    void answer(int result) { answers_.push_back(result); }

    const std::vector<PromptRecord>& boxes() const { return boxes_; }
    // The prompt texts alone, in order, for compact assertions.
    std::vector<std::string> prompts() const;
    // Answers still queued (a test can check that every scripted box came).
    size_t pendingAnswers() const { return answers_.size(); }
    void clear()
    {
        boxes_.clear();
        answers_.clear();
    }

    // The value of the first button of a style's button set.
    static int firstButton(int style);

private:
    std::vector<PromptRecord> boxes_;
    std::deque<int> answers_;
};

} // namespace lp::sim
