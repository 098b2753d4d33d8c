#include "platform/qt/qt_prompts.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMessageBox>
#include <QPushButton>

#include <cstdio>
#include <utility>
#include <vector>

#include "core/vb_text.h"
#include "ports/logger.h"

namespace lp {

namespace {

struct ButtonSet {
    std::vector<std::pair<QMessageBox::StandardButton, int>> buttons; // in order, with their answers
    int escape; // the answer Escape gives; 0 when Escape does nothing
};

ButtonSet buttonsOf(int style)
{
    using B = QMessageBox;
    switch (style & 0x0F) {
    case MsgBoxStyle::OkCancel:
        return {{{B::Ok, MsgBoxResult::Ok}, {B::Cancel, MsgBoxResult::Cancel}}, MsgBoxResult::Cancel};
    case MsgBoxStyle::AbortRetryIgnore:
        return {{{B::Abort, MsgBoxResult::Abort}, {B::Retry, MsgBoxResult::Retry}, {B::Ignore, MsgBoxResult::Ignore}},
                0};
    case MsgBoxStyle::YesNoCancel:
        return {{{B::Yes, MsgBoxResult::Yes}, {B::No, MsgBoxResult::No}, {B::Cancel, MsgBoxResult::Cancel}},
                MsgBoxResult::Cancel};
    case MsgBoxStyle::YesNo: return {{{B::Yes, MsgBoxResult::Yes}, {B::No, MsgBoxResult::No}}, MsgBoxResult::No};
    case MsgBoxStyle::RetryCancel:
        return {{{B::Retry, MsgBoxResult::Retry}, {B::Cancel, MsgBoxResult::Cancel}}, MsgBoxResult::Cancel};
    default: return {{{B::Ok, MsgBoxResult::Ok}}, MsgBoxResult::Ok};
    }
}

QMessageBox::Icon iconOf(int style)
{
    switch (style & 0x70) {
    case MsgBoxStyle::Critical: return QMessageBox::Critical;
    case MsgBoxStyle::Question: return QMessageBox::Question;
    case MsgBoxStyle::Exclamation: return QMessageBox::Warning;
    case MsgBoxStyle::Information: return QMessageBox::Information;
    default: return QMessageBox::NoIcon;
    }
}

// QMessageBox would let Escape press Abort; a box without Cancel or No must
// be answered with a button.
class SwallowEscape final : public QObject {
protected:
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() != QEvent::KeyPress && event->type() != QEvent::ShortcutOverride)
            return false;
        return static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape;
    }
};

int firstAnswer(const ButtonSet& set) { return set.buttons.front().second; }

} // namespace

int QtPrompts::msgBox(const std::string& text, int style, const std::string& title)
{
    const std::string prompt = vb::ShownText(text);
    const ButtonSet set = buttonsOf(style);
    if (log_)
        log_->info(LogSubsystem::Shell, "message box \"" + title + "\": " + prompt);

    if (!qobject_cast<QApplication*>(QCoreApplication::instance())) {
        // No window system to ask: say it where it can be read and take the
        // first button, as Enter would.
        std::fprintf(stderr, "%s: %s\n", title.c_str(), prompt.c_str());
        return firstAnswer(set);
    }

    QWidget* parent = parent_ ? parent_.data() : QApplication::activeWindow();
    QMessageBox box(iconOf(style), QString::fromStdString(title), QString::fromStdString(prompt),
                    QMessageBox::NoButton, parent);
    box.setTextFormat(Qt::PlainText);
    std::vector<std::pair<QPushButton*, int>> answers;
    for (const auto& [standard, answer] : set.buttons)
        answers.emplace_back(box.addButton(standard), answer);

    // Bits 8-9 name the default button (second, third); out of range means the first.
    const size_t defaultIndex = static_cast<size_t>((style >> 8) & 0x3);
    box.setDefaultButton(answers[defaultIndex < answers.size() ? defaultIndex : 0].first);

    SwallowEscape swallow;
    QPushButton* escape = nullptr;
    for (const auto& [button, answer] : answers)
        if (answer == set.escape)
            escape = button;
    if (escape)
        box.setEscapeButton(escape);
    else
        box.installEventFilter(&swallow);

    box.exec();

    int result = set.escape ? set.escape : firstAnswer(set); // closed without a button
    for (const auto& [button, answer] : answers)
        if (box.clickedButton() == button)
            result = answer;
    if (log_)
        log_->info(LogSubsystem::Shell, "message box answer " + std::to_string(result));
    return result;
}

} // namespace lp
