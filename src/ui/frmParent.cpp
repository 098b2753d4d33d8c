#include "ui/frmParent.h"

#include <QAction>
#include <QApplication>
#include <QDialog>
#include <QCloseEvent>
#include <QDesktopServices>
#include <QFileInfo>
#include <QKeyEvent>
#include <QKeySequence>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMouseEvent>
#include <QStackedLayout>
#include <QStatusBar>
#include <QToolBar>
#include <QUrl>

#include <exception>

#include "ports/host.h"
#include "ports/logger.h"
#include "ports/prompts.h"
#include "ui/dialogs/frmAboutDialog.h"
#include "operations/help_file.h"
#include "core/menu_status.h"
#include "ui/help_window.h"
#include "ui/res_picture.h"
#include "ui/window_buttons.h"
#include "platform/single_instance.h"
#include "operations/startup.h"
#include "core/string_table.h"

namespace lp {

namespace {

constexpr int kMenuTickMs = 100;

QString qs(const std::string& s) { return QString::fromStdString(s); }

} // namespace

int frmParent::normalWidthTwips() { return kMainWindowWidthTwips; }
int frmParent::normalHeightTwips() { return kMainWindowHeightTwips; }

frmParent::frmParent(Context& ctx, ShellOptions options) : ctx_(ctx), options_(std::move(options))
{
    setObjectName("frmParent");
    ctx_.ports.screens = this;

    buildMenus();
    buildStatusBar();

    tlbMain_ = new QToolBar(this);
    tlbMain_->setObjectName("tlbMain");
    tlbMain_->setMovable(false);
    tlbMain_->setFloatable(false);
    tlbMain_->setIconSize(QSize(24, 24));
    tlbMain_->setToolButtonStyle(Qt::ToolButtonIconOnly);
    tlbMain_->setContextMenuPolicy(Qt::PreventContextMenu);
    addToolBar(Qt::TopToolBarArea, tlbMain_);
    connect(tlbMain_, &QToolBar::actionTriggered, this, [this](QAction* a) {
        const QString key = a->data().toString();
        if (!key.isEmpty())
            SelectScreen(key.toStdString());
    });

    // The area the child screens live in.
    client_ = new QWidget(this);
    client_->setObjectName("mdiClient");
    client_->setMouseTracking(true);
    client_->installEventFilter(this);
    stack_ = new QStackedLayout(client_);
    stack_->setContentsMargins(0, 0, 0, 0);
    setCentralWidget(client_);

    setMouseTracking(true);
    statusBar()->installEventFilter(this);

    if (ctx_.ports.host) {
        tmrMenu_ = ctx_.ports.host->createTimer([this] { menuTick(); });
        tmrMenu_->setInterval(kMenuTickMs);
    }
    applyNormalSize();
}

frmParent::~frmParent()
{
    tmrMenu_.reset();
    if (waitCursor_)
        QApplication::restoreOverrideCursor();
    if (ctx_.ports.screens == this)
        ctx_.ports.screens = nullptr;
}

void frmParent::buildMenus()
{
    auto item = [this](QMenu* menu, const char* name, const QString& caption) {
        QAction* a = menu->addAction(caption);
        a->setObjectName(name);
        menuIndex_.insert(a, MenuRunningIndex(name));
        return a;
    };
    auto title = [this](const char* name, const QString& caption) {
        QMenu* m = menuBar()->addMenu(caption);
        m->setObjectName(name);
        m->menuAction()->setObjectName(name);
        menuIndex_.insert(m->menuAction(), MenuRunningIndex(name));
        connect(m, &QMenu::hovered, this, &frmParent::menuHovered);
        return m;
    };

    mnuFile_ = title("mnuFile", "&File");
    mnuFileExit_ = item(mnuFile_, "mnuFileExit", "E&xit");

    mnuInformation_ = title("mnuInformation", "&Information");
    mnuInformationSummary_ = item(mnuInformation_, "mnuInformationSummary", "&Summary");

    mnuUtilities_ = title("mnuUtilities", "&Utilities");
    mnuUtilitiesApplicationFirmwareFlash_ =
        item(mnuUtilities_, "mnuUtilitiesApplicationFirmwareFlash", "&Application Firmware Flash");
    mnuLPTest_ = item(mnuUtilities_, "mnuLPTest", "&Linkport Test");
    mnuPreferences_ = item(mnuUtilities_, "mnuPreferences", "&Preferences");
    // Hidden as designed; start-up shows it.
    mnuLPTest_->setVisible(false);

    mnuHelp_ = title("mnuHelp", "&Help");
    mnuHelpTopics_ = item(mnuHelp_, "mnuHelpTopics", "Help &Topics");
    // F1 shown beside the item; the window's own F1 handling stays the one
    // that acts (the shortcut fires only inside the open menu).
    mnuHelpTopics_->setShortcut(QKeySequence(Qt::Key_F1));
    mnuHelpTopics_->setShortcutContext(Qt::WidgetShortcut);
    mnuHelpAbout_ = item(mnuHelp_, "mnuHelpAbout", "About Linkport ToolKit");

    connect(menuBar(), &QMenuBar::hovered, this, &frmParent::menuHovered);

    connect(mnuFileExit_, &QAction::triggered, this, [this] { UnloadMainWindow(); });
    connect(mnuInformationSummary_, &QAction::triggered, this, [this] { SelectScreen(ScreenKey::Summary); });
    connect(mnuUtilitiesApplicationFirmwareFlash_, &QAction::triggered, this,
            [this] { SelectScreen(ScreenKey::ApplicationFlash); });
    connect(mnuLPTest_, &QAction::triggered, this, [this] { SelectScreen(ScreenKey::LPTest); });
    connect(mnuPreferences_, &QAction::triggered, this, [this] { SelectScreen(ScreenKey::Preferences); });
    // Help Topics asks for help the way the F1 key does.
    connect(mnuHelpTopics_, &QAction::triggered, this, [this] {
        QCoreApplication::postEvent(this, new QKeyEvent(QEvent::KeyPress, Qt::Key_F1, Qt::NoModifier));
    });
    connect(mnuHelpAbout_, &QAction::triggered, this, [this] { showAbout(); });
}

void frmParent::buildStatusBar()
{
    QStatusBar* bar = statusBar();
    bar->setObjectName("staStatusBar");
    bar->setSizeGripEnabled(false);
    panel1_ = new QLabel(bar);
    panel1_->setObjectName("staStatusBarPanel1");
    panel2_ = new QLabel(bar);
    panel2_->setObjectName("staStatusBarPanel2");
    panel2_->setAlignment(Qt::AlignCenter);
    panel2_->setMinimumWidth(80);
    bar->addWidget(panel1_, 1);
    bar->addPermanentWidget(panel2_);
}

void frmParent::buildToolbar()
{
    tlbMain_->clear();
    ilsToolBar_.clear();
    for (int16_t id : {ResPictureId::SummaryBitmap, ResPictureId::FlashBitmap, ResPictureId::ExitBitmap})
        ilsToolBar_.push_back(resIcon(id, ResPictureKind::Bitmap));

    struct Button {
        const char* key;
        const char* tip;
        const char* name;
        int image; // 1-based
    };
    const Button buttons[] = {
        {ScreenKey::Summary, "Summary", "tlbMainSummary", 1},
        {nullptr, nullptr, nullptr, 0},
        {ScreenKey::ApplicationFlash, "Application Firmware Flash", "tlbMainApplicationFlash", 2},
        {nullptr, nullptr, nullptr, 0},
        {ScreenKey::Exit, "Exit", "tlbMainExit", 3},
    };
    for (const Button& b : buttons) {
        if (!b.key) {
            tlbMain_->addSeparator();
            continue;
        }
        QAction* a = tlbMain_->addAction(ilsToolBar_[b.image - 1], b.tip);
        a->setObjectName(b.name);
        a->setData(QString(b.key));
        a->setToolTip(b.tip);
    }
    tlbMain_->setMouseTracking(true);
    tlbMain_->installEventFilter(this);
    for (QAction* a : tlbMain_->actions()) {
        if (QWidget* w = tlbMain_->widgetForAction(a)) {
            w->setMouseTracking(true);
            w->installEventFilter(this);
        }
    }
}

QAction* frmParent::toolbarButton(const QString& key) const
{
    for (QAction* a : tlbMain_->actions()) {
        if (!a->isSeparator() && a->data().toString() == key)
            return a;
    }
    return nullptr;
}

void frmParent::MDIForm_Load()
{
    // 1. One copy at a time.
    const std::string lockPath =
        options_.instanceLockPath.empty() ? defaultInstanceLockPath() : options_.instanceLockPath;
    instance_ = std::make_unique<SingleInstance>(lockPath);
    if (instance_->state() == SingleInstance::State::AlreadyRunning) {
        log("another copy is running; this one ends");
        msgBox(LoadResString(Res::AlreadyRunning), MsgBoxStyle::OkOnly + MsgBoxStyle::Critical, LoadResString(Res::ProgramTitle));
        UnloadMainWindow();
        return;
    }
    if (instance_->state() == SingleInstance::State::Unchecked)
        log("cannot tell whether another copy runs (" + instance_->detail() + "); starting anyway");

    // 2.
    ctx_.g_strRegistryKey = LoadResString(Res::ToolkitRegistryKey);

    // 3. Edition.
    mnuLPTest_->setVisible(true);
    helpFile_ = ServiceToolHelpFile(ctx_);
    ctx_.g_intToolkitMode = ChooseToolkitMode(ctx_);

    // 4. Device kind as stored.
    ChooseDeviceKind(ctx_);
    log("command line \"" + ctx_.commandLine + "\", edition " + std::to_string(ctx_.g_intToolkitMode)
        + ", stored adapter \"" + ctx_.g_strDeviceKind + "\"");

    // 5.
    setStatusPanelText(2, qs(StatusVersionText(ctx_.g_intToolkitMode)));

    // 6.
    setUpCaptionsAndToolbar();
    if (unloaded_)
        return;

    // 7. and 8.
    CorrectDeviceKind(ctx_);
    ApplyDeviceFlags(ctx_);

    // 9. First screen.
    const std::string first = FirstScreenKey(ctx_);
    if (first == ScreenKey::Preferences) {
        showPreferences();
    } else {
        showScreen(first);
        SelectScreen(first);
    }
    if (unloaded_)
        return;

    // 10.
    if (!ctx_.g_blnWLPSelected && options_.screens.unloadConnectingDialog)
        options_.screens.unloadConnectingDialog(ctx_);

    // 11. and 12.
    RemoveSizeCommand(this);
    EnableMaxButton(ctx_, this, false);

    if (ctx_.closeRequested)
        UnloadMainWindow();
}

void frmParent::setUpCaptionsAndToolbar()
{
    const MainCaptions captions = MainWindowCaptions(ctx_.g_intToolkitMode);
    mnuHelpAbout_->setText(qs(captions.aboutMenu));
    setWindowTitle(qs(captions.window));
    ctx_.g_blnFatalDriverError = false;
    setWindowIcon(resIcon(ResPictureId::AppIcon, ResPictureKind::Icon));
    buildToolbar();
    if (ctx_.g_blnFatalDriverError) {
        UnloadMainWindow();
        return;
    }
    menuActive_ = false;
    if (tmrMenu_) {
        tmrMenu_->setInterval(kMenuTickMs);
        tmrMenu_->setEnabled(true);
    }
    show();
}

void frmParent::setEnabledButtons(bool summary, bool flash, bool /*unused*/)
{
    if (QAction* a = toolbarButton(ScreenKey::Summary))
        a->setEnabled(summary);
    mnuInformationSummary_->setEnabled(summary);
    if (QAction* a = toolbarButton(ScreenKey::ApplicationFlash))
        a->setEnabled(flash);
    mnuUtilitiesApplicationFirmwareFlash_->setEnabled(flash);
}

void frmParent::SelectScreen(const std::string& key)
{
    try {
        ChildScreen* active = activeChild();
        const std::string activeTag = active ? active->Tag().toStdString() : std::string();

        if (key == ScreenKey::Summary) {
            setEnabledButtons(false, false, false);
            if (activeTag != ScreenKey::Summary)
                switchTo(key);
            else
                active->initialise();
            setEnabledButtons(true, true, true);
            DisableMaximizeBox(this);
        } else if (key == ScreenKey::ApplicationFlash) {
            setEnabledButtons(false, false, false);
            if (activeTag != ScreenKey::ApplicationFlash) {
                if (DriverRefusesFlash(ctx_.g_strLP2DriverVersion))
                    msgBox(LoadResString(Res::FlashNotAllowed), MsgBoxStyle::OkOnly, LoadResString(Res::Lp2FullName));
                else
                    switchTo(key);
            } else {
                active->initialise();
            }
            setEnabledButtons(true, true, true);
            DisableMaximizeBox(this);
        } else if (key == ScreenKey::Preferences) {
            // The dialog is modal and never becomes the active child, so the
            // second branch only runs if a screen ever carries this tag.
            if (activeTag != ScreenKey::Preferences) {
                g_frmPrevious = active;
                showPreferences();
            } else {
                UnloadMainWindow();
            }
            DisableMaximizeBox(this);
        } else if (key == ScreenKey::LPTest) {
            if (activeTag != ScreenKey::LPTest) {
                g_frmPrevious = active;
                showScreen(key);
                unloadScreen(g_frmPrevious);
            }
        } else if (key == ScreenKey::Exit) {
            for (const auto& child : std::vector<QPointer<ChildScreen>>(children_)) {
                if (child && child->Tag() == ScreenKey::Summary)
                    unloadScreen(child);
            }
            UnloadMainWindow();
        }

        if (ctx_.g_blnFatalDriverError || ctx_.closeRequested)
            UnloadMainWindow();
    } catch (const std::exception& e) {
        log(std::string("SelectScreen(\"") + key + "\") stopped: " + e.what());
    } catch (...) {
        log("SelectScreen(\"" + key + "\") stopped");
    }
}

void frmParent::switchTo(const std::string& key)
{
    g_frmPrevious = activeChild();
    ChildScreen* screen = showScreen(key);
    if (!screen)
        return;
    screen->initialise();
    if (g_frmPrevious && g_frmPrevious != screen)
        unloadScreen(g_frmPrevious);
}

ChildScreen* frmParent::activeChild() const
{
    for (auto it = children_.rbegin(); it != children_.rend(); ++it) {
        if (*it)
            return *it;
    }
    return nullptr;
}

ChildScreen* frmParent::showScreen(const std::string& key)
{
    if (ChildScreen* active = activeChild(); active && active->Tag().toStdString() == key)
        return active;
    auto factory = options_.screens.children.find(key);
    if (factory == options_.screens.children.end() || !factory->second) {
        log("no screen for key \"" + key + "\"");
        return nullptr;
    }
    ChildScreen* screen = factory->second(ctx_, *this);
    if (!screen)
        return nullptr;
    stack_->addWidget(screen);
    stack_->setCurrentWidget(screen);
    children_.emplace_back(screen);
    screen->show();
    return screen;
}

void frmParent::unloadScreen(ChildScreen* screen)
{
    if (!screen)
        return;
    std::erase_if(children_, [screen](const QPointer<ChildScreen>& c) { return !c || c == screen; });
    stack_->removeWidget(screen);
    screen->hide();
    screen->deleteLater();
    if (ChildScreen* active = activeChild())
        stack_->setCurrentWidget(active);
}

void frmParent::showPreferences()
{
    if (options_.screens.preferences)
        options_.screens.preferences(ctx_, *this);
}

void frmParent::showAbout()
{
    frmAboutDialog about(ctx_, this);
    about.exec();
}

void frmParent::UnloadMainWindow()
{
    if (unloaded_)
        return;
    unloaded_ = true;
    log("main window unloads");
    if (tmrMenu_)
        tmrMenu_->setEnabled(false);
    // A modal dialog of ours returns first, so that its caller can finish.
    if (QWidget* modal = QApplication::activeModalWidget()) {
        for (QWidget* w = modal->parentWidget(); w; w = w->parentWidget()) {
            if (w == this) {
                modal->close();
                break;
            }
        }
    }
    for (const auto& child : std::vector<QPointer<ChildScreen>>(children_))
        unloadScreen(child);
    if (help_)
        help_->close();
    close();
    emit mainWindowUnloaded();
}

void frmParent::closeEvent(QCloseEvent* event)
{
    // The title bar's close button unloads like File, Exit; the close() that
    // UnloadMainWindow makes meanwhile is ignored by Qt while this one runs.
    if (!unloaded_)
        UnloadMainWindow();
    event->accept();
}

void frmParent::setMousePointer(int pointer)
{
    if (pointer == 11 && !waitCursor_) {
        QApplication::setOverrideCursor(Qt::WaitCursor);
        waitCursor_ = true;
    } else if (pointer != 11 && waitCursor_) {
        QApplication::restoreOverrideCursor();
        waitCursor_ = false;
    }
}

QString frmParent::statusPanelText(int panel) const
{
    if (panel == 1)
        return panel1_->text();
    if (panel == 2)
        return panel2_->text();
    return QString();
}

void frmParent::setStatusPanelText(int panel, const QString& text)
{
    if (panel == 1)
        panel1_->setText(text);
    else if (panel == 2)
        panel2_->setText(text);
}

std::string frmParent::activeScreenKey() const
{
    const ChildScreen* active = activeChild();
    return active ? active->Tag().toStdString() : std::string();
}

void frmParent::closePreferences()
{
    if (preferences_ && preferences_->isVisible())
        preferences_->close();
}

void frmParent::setMenusEnabled(bool enabled)
{
    if (QMenuBar* menus = menuBar())
        menus->setEnabled(enabled);
    for (QToolBar* bar : findChildren<QToolBar*>())
        bar->setEnabled(enabled);
}

void frmParent::restorePanelText()
{
    setStatusPanelText(1, qs(PanelTextFromCaption(windowTitle().toStdString())));
}

void frmParent::menuHovered(QAction* action)
{
    // Passing over the menu bar with the mouse highlights a title without
    // opening a menu; only a menu in use counts, as it did before.
    if (sender() == menuBar() && !QApplication::activePopupWidget() && !menuBar()->hasFocus())
        return;
    menuActive_ = true;
    setStatusPanelText(1, qs(MenuStatusText(menuIndex_.value(action, 0))));
}

void frmParent::menuTick()
{
    QAction* highlighted = nullptr;
    bool active = false;
    if (auto* popup = qobject_cast<QMenu*>(QApplication::activePopupWidget())) {
        if (menuIndex_.contains(popup->menuAction())) {
            active = true;
            highlighted = popup->activeAction() ? popup->activeAction() : menuBar()->activeAction();
        }
    } else if (menuBar()->activeAction() && menuBar()->hasFocus()) {
        active = true;
        highlighted = menuBar()->activeAction();
    }
    if (active) {
        menuActive_ = true;
        setStatusPanelText(1, qs(MenuStatusText(menuIndex_.value(highlighted, 0))));
    } else if (menuActive_) {
        // Restored once when the menus close, so that a toolbar tip shown
        // afterwards is not overwritten on the next tick.
        menuActive_ = false;
        restorePanelText();
    }
}

void frmParent::toolbarMouseMove(int x)
{
    for (QAction* a : tlbMain_->actions()) {
        QWidget* w = tlbMain_->widgetForAction(a);
        if (!w || !w->isVisible())
            continue;
        const QRect g = w->geometry();
        if (x >= g.left() && x <= g.left() + g.width()) {
            setStatusPanelText(1, a->isSeparator() ? QString() : a->toolTip());
            tipShown_ = true;
            return;
        }
    }
    restorePanelText();
}

bool frmParent::eventFilter(QObject* watched, QEvent* event)
{
    auto* widget = qobject_cast<QWidget*>(watched);
    const bool inToolbar = widget && (widget == tlbMain_ || tlbMain_->isAncestorOf(widget));
    if (event->type() == QEvent::MouseMove && widget) {
        if (inToolbar) {
            const QPoint p = static_cast<QMouseEvent*>(event)->position().toPoint();
            toolbarMouseMove(widget == tlbMain_ ? p.x() : widget->mapTo(tlbMain_, p).x());
        } else if (tipShown_) {
            restorePanelText();
            tipShown_ = false;
        }
    } else if (event->type() == QEvent::Leave && widget == tlbMain_ && tipShown_) {
        // The screens cover the main window's own area, so leaving the
        // toolbar is where the pointer reaches it.
        restorePanelText();
        tipShown_ = false;
    }
    return QMainWindow::eventFilter(watched, event);
}

void frmParent::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_F1 && event->modifiers() == Qt::NoModifier) {
        showHelp();
        event->accept();
        return;
    }
    QMainWindow::keyPressEvent(event);
}

void frmParent::showHelp()
{
    if (!helpFile_.empty() && QFileInfo(qs(helpFile_)).isFile()) {
        const QUrl url = QUrl::fromLocalFile(qs(helpFile_));
        const bool opened = options_.openUrl ? options_.openUrl(url) : QDesktopServices::openUrl(url);
        if (opened)
            return;
        log("could not open the help file " + helpFile_ + "; showing the manual");
    }
    if (!help_)
        help_ = new HelpWindow(this);
    help_->show();
    help_->raise();
    help_->activateWindow();
}

void frmParent::applyNormalSize()
{
    if (windowState() & (Qt::WindowMinimized | Qt::WindowMaximized | Qt::WindowFullScreen))
        return;
    const QSize wanted(TwipsToPixels(normalWidthTwips(), logicalDpiX()),
                       TwipsToPixels(normalHeightTwips(), logicalDpiY()));
    if (size() != wanted || minimumSize() != wanted || maximumSize() != wanted)
        setFixedSize(wanted);
}

void frmParent::resizeEvent(QResizeEvent* event)
{
    QMainWindow::resizeEvent(event);
    applyNormalSize();
}

void frmParent::changeEvent(QEvent* event)
{
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::WindowStateChange)
        applyNormalSize();
}

int frmParent::msgBox(const std::string& text, int style, const std::string& title)
{
    if (!ctx_.ports.prompts)
        return MsgBoxResult::Ok;
    return ctx_.ports.prompts->msgBox(text, style, title);
}

void frmParent::log(const std::string& text)
{
    if (ctx_.ports.log)
        ctx_.ports.log->info(LogSubsystem::Shell, text);
}

} // namespace lp
