#pragma once
// The program's one top-level window: menus, toolbar and status bar around
// one child screen at a time. Its load is the program's start-up, and every
// screen change goes through SelectScreen.
#include <QDialog>
#include <QHash>
#include <QIcon>
#include <QMainWindow>
#include <QPointer>
#include <QString>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/context.h"
#include "ui/child_screen.h"
#include "ui/help_window.h"
#include "ui/main_window.h"

class QAction;
class QLabel;
class QMenu;
class QStackedLayout;
class QToolBar;
class QUrl;

namespace lp {

class HostTimer;
class SingleInstance;

struct ShellOptions {
    // The single-instance lock (path without ".lock"); empty means
    // defaultInstanceLockPath().
    std::string instanceLockPath;
    ScreenFactory screens = defaultScreenFactory();
    // Opens the service tool's help file; QDesktopServices by default.
    std::function<bool(const QUrl&)> openUrl;
};

class frmParent : public QMainWindow, public ScreenCalls, public MainWindow {
    Q_OBJECT
public:
    explicit frmParent(Context& ctx, ShellOptions options = {});
    ~frmParent() override;

    // The start-up steps, in order. Afterwards unloaded() tells whether the
    // program is to end (a second instance, a fatal driver error).
    void MDIForm_Load();
    bool unloaded() const { return unloaded_; }

    // ScreenCalls.
    void SelectScreen(const std::string& screenKey) override;
    void UnloadMainWindow() override;
    void setMousePointer(int pointer) override;
    std::string activeScreenKey() const override;
    void closePreferences() override;

    // MainWindow.
    QWidget* ownerWidget() override { return this; }
    void setMenusEnabled(bool enabled) override;
    void setWindowEnabled(bool enabled) override { setEnabled(enabled); }
    void unloadActiveScreen() override { unloadScreen(activeChild()); }
    void setOpenPreferences(QDialog* dialog) override { preferences_ = dialog; }

    // The shown child screen (the one shown last), or null.
    ChildScreen* activeChild() const override;
    // Shows the screen of `key`: the active child when it carries that tag,
    // else a newly loaded one, which becomes active. No initialisation and no
    // unloading of the previous screen; null for an unknown key.
    ChildScreen* showScreen(const std::string& key) override;
    // Unloads a child screen: it is hidden at once and deleted when control
    // returns to the event loop, so a screen may unload itself from its own
    // handlers (but must not pump messages after that).
    void unloadScreen(ChildScreen* screen);

    // Status bar panels 1 and 2.
    QString statusPanelText(int panel) const;
    void setStatusPanelText(int panel, const QString& text) override;
    // Panel 1 from the caption: the current screen's name.
    void restorePanelText() override;

    // F1 and Help Topics.
    void showHelp();
    HelpWindow* helpWindow() const { return help_; }
    // The service tool's help file chosen at start-up ("" for our manual).
    const std::string& helpFile() const { return helpFile_; }

    // The toolbar button of a key, and the images of ilsToolBar (1-based as
    // as the toolbar's image list counts them).
    QAction* toolbarButton(const QString& key) const;
    const std::vector<QIcon>& ilsToolBar() const { return ilsToolBar_; }

    Context& context() { return ctx_; }

signals:
    // The program is to end (the application quits on it).
    void mainWindowUnloaded();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildMenus();
    void buildStatusBar();
    void setUpCaptionsAndToolbar(); // start-up step 6
    void buildToolbar();
    // Toolbar button "Summary" and its menu item follow `summary`, "Application
    // Flash" and its item follow `flash`; the third value has no effect and is
    // kept so that every caller states all three.
    void setEnabledButtons(bool summary, bool flash, bool unused);
    void switchTo(const std::string& key); // show, initialise, unload previous
    void showPreferences();
    void showAbout();
    void menuTick();
    void menuHovered(QAction* action);
    void toolbarMouseMove(int x);
    void applyNormalSize();
    int msgBox(const std::string& text, int style, const std::string& title);
    void log(const std::string& text);

    static int normalWidthTwips();
    static int normalHeightTwips();

    Context& ctx_;
    ShellOptions options_;
    std::unique_ptr<SingleInstance> instance_;
    bool unloaded_ = false;
    bool tipShown_ = false;
    bool menuActive_ = false;
    bool waitCursor_ = false;
    std::string helpFile_;

    QMenu* mnuFile_ = nullptr;
    QAction* mnuFileExit_ = nullptr;
    QMenu* mnuInformation_ = nullptr;
    QAction* mnuInformationSummary_ = nullptr;
    QMenu* mnuUtilities_ = nullptr;
    QAction* mnuUtilitiesApplicationFirmwareFlash_ = nullptr;
    QAction* mnuLPTest_ = nullptr;
    QAction* mnuPreferences_ = nullptr;
    QMenu* mnuHelp_ = nullptr;
    QAction* mnuHelpTopics_ = nullptr;
    QAction* mnuHelpAbout_ = nullptr;
    QHash<QAction*, int> menuIndex_; // running numbers of the status texts

    QToolBar* tlbMain_ = nullptr;
    std::vector<QIcon> ilsToolBar_;
    QLabel* panel1_ = nullptr;
    QLabel* panel2_ = nullptr;
    QWidget* client_ = nullptr;
    QStackedLayout* stack_ = nullptr;
    std::unique_ptr<HostTimer> tmrMenu_;
    QPointer<HelpWindow> help_;

    std::vector<QPointer<ChildScreen>> children_; // loaded, in order shown
    QPointer<ChildScreen> g_frmPrevious;
    QPointer<QDialog> preferences_; // while the Preferences dialog is open
};

} // namespace lp
