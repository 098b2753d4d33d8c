#pragma once
// The buttons in a window's title bar. Qt has no system menu to edit, so the
// title-bar commands are Qt window hints; what editing the system menu could
// report as a failure is reported here with the same texts, through Prompts:
//  - "Invalid Window Handle": no window, or a window that is not shown
//    (never shown, or closed);
//  - "Menu Item Not Found": a widget that is not a top-level window (it has
//    no title bar), or a frameless window;
//  - "Error encountered changing state": the window kept the old setting.
// The system menu's identifier change has no Qt counterpart and cannot fail.
#include <QWidget>

#include "core/context.h"

namespace lp {

// True when the change took effect (or there was nothing to change).
bool EnableCloseButton(Context& ctx, QWidget* window, bool enable);
bool EnableMinButton(Context& ctx, QWidget* window, bool enable);
bool EnableMaxButton(Context& ctx, QWidget* window, bool enable);

// The user can no longer size the window: its size is held at the current
// one. Silent, as deleting the Size command from the system menu is.
void RemoveSizeCommand(QWidget* window);

// Clears the maximise button without any message.
void DisableMaximizeBox(QWidget* window);

} // namespace lp
