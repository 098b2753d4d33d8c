#pragma once
// What the screens and dialogs may ask of the program's main window, so that
// none of them needs the window itself: the owner of their dialogs, the
// status bar, the lock on menus and toolbar while an adapter is busy, and the
// screen changes. frmParent implements it; tests can stand in for it.
#include <QString>

#include <string>

class QDialog;
class QWidget;

namespace lp {

class ChildScreen;

class MainWindow {
public:
    virtual ~MainWindow() = default;

    // The window that owns (and centres) the dialogs of its screens.
    virtual QWidget* ownerWidget() = 0;

    // Status bar panels 1 and 2; panel 1 back to the current screen's name.
    virtual void setStatusPanelText(int panel, const QString& text) = 0;
    virtual void restorePanelText() = 0;

    // Menus and toolbar, so that no screen change cuts an adapter's work
    // short; the whole window, while a Summary reading holds it.
    virtual void setMenusEnabled(bool enabled) = 0;
    virtual void setWindowEnabled(bool enabled) = 0;

    // The shown screen, or null; showing a screen by key without unloading
    // the previous one; unloading the shown one.
    virtual ChildScreen* activeChild() const = 0;
    virtual ChildScreen* showScreen(const std::string& key) = 0;
    virtual void unloadActiveScreen() = 0;
    virtual void SelectScreen(const std::string& screenKey) = 0;

    // The Preferences dialog registers itself while it is open, so that a
    // dialog over it can close it.
    virtual void setOpenPreferences(QDialog* dialog) = 0;
};

} // namespace lp
