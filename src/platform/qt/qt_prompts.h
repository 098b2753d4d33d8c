#pragma once
// Prompts as QMessageBox: the exact text and title, the button set of the
// style's low nibble, the icon of its 16/32/48/64 field. The first button is
// the default (or the one the style's default-button field names); Escape
// answers Cancel, or No where the set is Yes/No, and does nothing where the
// set has neither (Abort/Retry/Ignore), as on Windows.
#include <QPointer>
#include <QWidget>

#include "ports/prompts.h"

namespace lp {

class Logger;

class QtPrompts final : public Prompts {
public:
    // `parent` centres the boxes (the main window); without it the active
    // window is used. `log` receives each box's text and answer.
    explicit QtPrompts(Logger* log = nullptr, QWidget* parent = nullptr) : log_(log), parent_(parent) {}

    int msgBox(const std::string& prompt, int style, const std::string& title) override;

    void setParent(QWidget* parent) { parent_ = parent; }

private:
    Logger* log_;
    QPointer<QWidget> parent_;
};

} // namespace lp
