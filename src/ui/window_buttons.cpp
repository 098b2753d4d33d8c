#include "ui/window_buttons.h"

#include <string>

#include "ports/prompts.h"
#include "core/string_table.h"

namespace lp {

namespace {

void report(Context& ctx, const char* routine, const std::string& what)
{
    if (!ctx.ports.prompts)
        return;
    ctx.ports.prompts->msgBox(std::string("modCloseBtn::") + routine + "() - " + what, MsgBoxStyle::OkOnly,
                              LoadResString(Res::ProgramTitle));
}

// Sets or clears one title-bar hint. Setting window flags hides a shown
// window, so it is shown again; unchanged flags are left alone so that
// repeated calls do not make the window flicker.
bool setHint(QWidget* window, Qt::WindowType hint, bool on)
{
    if (window->windowFlags().testFlag(hint) == on)
        return true;
    const bool wasVisible = window->isVisible();
    Qt::WindowFlags flags = window->windowFlags() | Qt::CustomizeWindowHint;
    flags.setFlag(hint, on);
    if (hint == Qt::WindowMaximizeButtonHint && !on)
        flags.setFlag(Qt::WindowFullscreenButtonHint, false);
    window->setWindowFlags(flags);
    if (wasVisible)
        window->show();
    return window->windowFlags().testFlag(hint) == on;
}

bool enableButton(Context& ctx, const char* routine, QWidget* window, Qt::WindowType hint, bool enable)
{
    if (!window || !window->isVisible()) {
        report(ctx, routine, "Invalid Window Handle");
        return false;
    }
    if (!window->isWindow() || window->windowFlags().testFlag(Qt::FramelessWindowHint)) {
        report(ctx, routine, "Menu Item Not Found");
        return false;
    }
    if (!setHint(window, hint, enable)) {
        report(ctx, routine, "Error encountered changing state");
        return false;
    }
    return true;
}

} // namespace

bool EnableCloseButton(Context& ctx, QWidget* window, bool enable)
{
    return enableButton(ctx, "EnableCloseButton", window, Qt::WindowCloseButtonHint, enable);
}

bool EnableMinButton(Context& ctx, QWidget* window, bool enable)
{
    return enableButton(ctx, "EnableMinButton", window, Qt::WindowMinimizeButtonHint, enable);
}

bool EnableMaxButton(Context& ctx, QWidget* window, bool enable)
{
    return enableButton(ctx, "EnableMaxButton", window, Qt::WindowMaximizeButtonHint, enable);
}

void RemoveSizeCommand(QWidget* window)
{
    if (window && window->isWindow())
        window->setFixedSize(window->size());
}

void DisableMaximizeBox(QWidget* window)
{
    if (window && window->isWindow())
        setHint(window, Qt::WindowMaximizeButtonHint, false);
}

} // namespace lp
