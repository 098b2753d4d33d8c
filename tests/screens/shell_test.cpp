#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QFile>
#include <QKeySequence>
#include <QLabel>
#include <QMenu>
#include <QMouseEvent>
#include <QPointer>
#include <QPushButton>
#include <QShortcut>
#include <QTextBrowser>
#include <QToolBar>
#include <QUrl>

#include <filesystem>
#include <memory>
#include <tuple>

#include "modal.h"
#include "qt_app.h"
#include "ui/dialogs/frmAboutDialog.h"
#include "ui/dialogs/frmExitReturnDialog.h"
#include "ui/frmParent.h"
#include "stand_in_screen.h"
#include "ui/res_picture.h"
#include "ui/window_buttons.h"
#include "platform/single_instance.h"
#include "operations/startup.h"
#include "core/string_table.h"
#include "support/test_context.h"
#include "version.h"

using namespace lp;

namespace {

const std::string kKey = "SOFTWARE\\Halvorn Inc.\\Linkport Toolkit";

struct Shell : test::TestContext {
    std::unique_ptr<frmParent> main;

    explicit Shell(const std::string& storedKind = "LPII SIP")
    {
        if (!storedKind.empty())
            setRegistryText(kKey, "PrevAdapter", storedKind);
    }
    ~Shell() { test::flushPosted(); }

    frmParent& load(const std::string& commandLine, ShellOptions options = {})
    {
        ctx.commandLine = commandLine;
        if (options.instanceLockPath.empty())
            options.instanceLockPath = file("instance");
        // The shell is tested with stand-ins for the Summary and flash
        // screens (unless the test brings its own): the real ones read an adapter.
        const auto standIn = [&options](const char* key, const char* form, int16_t caption) {
            auto& make = options.screens.children[key];
            if (make.target_type() == defaultScreenFactory().children[key].target_type())
                make = [=](Context& c, MainWindow& m) -> ChildScreen* {
                    return new StandInScreen(c, m, key, form, LoadResString(caption));
                };
        };
        standIn(ScreenKey::Summary, "frmVersion", 511);
        standIn(ScreenKey::ApplicationFlash, "frmFlash", 510);
        main = std::make_unique<frmParent>(ctx, std::move(options));
        main->MDIForm_Load();
        return *main;
    }
    QString tag() const
    {
        ChildScreen* c = main->activeChild();
        return c ? c->Tag() : QString("(none)");
    }
    template <class T> T* find(const char* name) const { return main->findChild<T*>(name); }
    QString panel1() const { return main->statusPanelText(1); }
};

// Runs `action` while a modal dialog may open; returns the dialog's tag.
QString withModal(const std::function<void()>& action)
{
    QString tag = "(none)";
    test::withModal<QDialog>(action, [&tag](QDialog& dialog) {
        tag = dialog.property("Tag").toString();
        dialog.reject();
    });
    return tag;
}

} // namespace

TEST(Shell, StartsOnSummaryWithItsMenusToolbarAndStatusBar)
{
    Shell s;
    frmParent& m = s.load("");
    EXPECT_TRUE(m.isVisible());
    EXPECT_EQ(s.tag(), "Summary");
    EXPECT_EQ(s.ctx.g_strRegistryKey, kKey);
    EXPECT_EQ(m.windowTitle(), "HVN Linkport Toolkit - Summary");
    EXPECT_EQ(s.panel1(), "Summary");
    EXPECT_EQ(m.statusPanelText(2), QString("v") + version::text);
    EXPECT_NE(s.find<QObject>("staStatusBar"), nullptr);

    const std::pair<const char*, const char*> menus[] = {
        {"mnuFileExit", "E&xit"},
        {"mnuInformationSummary", "&Summary"},
        {"mnuUtilitiesApplicationFirmwareFlash", "&Application Firmware Flash"},
        {"mnuLPTest", "&Linkport Test"},
        {"mnuPreferences", "&Preferences"},
        {"mnuHelpTopics", "Help &Topics"},
        {"mnuHelpAbout", "About HVN Linkport Toolkit"},
    };
    for (const auto& [name, caption] : menus) {
        auto* a = s.find<QAction>(name);
        ASSERT_NE(a, nullptr) << name;
        EXPECT_EQ(a->text(), caption) << name;
        EXPECT_TRUE(a->isVisible()) << name;
    }
    for (const char* name : {"mnuFile", "mnuInformation", "mnuUtilities", "mnuHelp"})
        EXPECT_NE(s.find<QMenu>(name), nullptr) << name;

    auto* toolbar = s.find<QToolBar>("tlbMain");
    ASSERT_NE(toolbar, nullptr);
    QStringList layout;
    for (QAction* a : toolbar->actions())
        layout << (a->isSeparator() ? "|" : a->data().toString() + ":" + a->toolTip());
    EXPECT_EQ(layout.join(","),
              "Summary:Summary,|,Application Flash:Application Firmware Flash,|,Exit:Exit");
    ASSERT_EQ(m.ilsToolBar().size(), 3u);
    EXPECT_EQ(m.toolbarButton("Application Flash")->icon().cacheKey(), m.ilsToolBar()[1].cacheKey());

    EXPECT_EQ(m.size(), QSize(TwipsToPixels(8600, m.logicalDpiX()), TwipsToPixels(7600, m.logicalDpiY())));
    EXPECT_EQ(m.minimumSize(), m.maximumSize()); // the user cannot size it
    EXPECT_FALSE(m.windowFlags().testFlag(Qt::WindowMaximizeButtonHint));
    EXPECT_TRUE(s.prompts.boxes().empty());
}

// The start-up steps run in order: edition, stored kind, its correction
// (written back), the device flags, the first screen. (The decisions
// themselves: ShellStartup.)
TEST(Shell, FirstScreenFollowsTheStoredKindAndTheUpgradeSwitch)
{
    {
        Shell s("");
        EXPECT_EQ(withModal([&] { s.load("/SIPUpgrade"); }), "Preferences");
        EXPECT_EQ(s.tag(), "(none)");
        EXPECT_FALSE(s.main->unloaded());
    }
    {
        // The standard edition rewrites a stored compact adapter.
        Shell s("B&B SIP");
        s.load("/sipupgrade file.apf");
        EXPECT_EQ(s.registryText(kKey, "PrevAdapter"), "LPII SIP");
        EXPECT_TRUE(s.ctx.g_blnLP2Selected);
        EXPECT_EQ(s.tag(), "Application Flash");
        EXPECT_EQ(static_cast<StandInScreen*>(s.main->activeChild())->initialiseCount(), 1);
        EXPECT_EQ(s.main->windowTitle(), "HVN Linkport Toolkit - Application Firmware Flash");
    }
}

TEST(Shell, SelectScreenSwitchesRefreshesAndRefuses)
{
    Shell s;
    frmParent& m = s.load("");
    QPointer<ChildScreen> summary = m.activeChild();

    // Summary again: the same screen, initialised once more.
    m.SelectScreen("Summary");
    EXPECT_EQ(m.activeChild(), summary.data());
    EXPECT_EQ(static_cast<StandInScreen*>(summary.data())->initialiseCount(), 2);

    // Driver 1.9 refuses the flash screen; the toolbar is enabled again.
    s.ctx.g_strLP2DriverVersion = "1.9";
    m.SelectScreen("Application Flash");
    EXPECT_EQ(s.prompts.boxes(), (test::Boxes{{LoadResString(110), 0, "HVN Linkport II"}}));
    EXPECT_EQ(s.tag(), "Summary");
    EXPECT_TRUE(m.toolbarButton("Application Flash")->isEnabled());

    s.ctx.g_strLP2DriverVersion = "1.90";
    m.SelectScreen("Application Flash");
    EXPECT_EQ(s.tag(), "Application Flash");
    test::flushPosted();
    EXPECT_TRUE(summary.isNull()); // the previous screen is unloaded

    m.SelectScreen("LPTest");
    EXPECT_EQ(s.tag(), "LPTest");
    m.SelectScreen("Nothing");
    EXPECT_EQ(s.tag(), "LPTest");
    EXPECT_EQ(withModal([&] { m.SelectScreen("Preferences"); }), "Preferences");
    EXPECT_EQ(s.tag(), "LPTest"); // a modal dialog, not a child
    EXPECT_EQ(s.prompts.boxes().size(), 1u);
}

TEST(Shell, ButtonsAreDisabledDuringInitialisationAndAMissingDriverEnds)
{
    Shell s;
    std::vector<bool> enabledDuringInit;
    ShellOptions options;
    options.screens.children[ScreenKey::Summary] = [&](Context& c, MainWindow& main) -> ChildScreen* {
        auto* screen = new StandInScreen(c, main, ScreenKey::Summary, "frmVersion", "Summary");
        screen->onInitialise = [&s, &enabledDuringInit] {
            enabledDuringInit.push_back(s.main->toolbarButton("Summary")->isEnabled());
            enabledDuringInit.push_back(s.find<QAction>("mnuUtilitiesApplicationFirmwareFlash")->isEnabled());
        };
        return screen;
    };
    frmParent& m = s.load("", std::move(options));
    EXPECT_EQ(enabledDuringInit, (std::vector<bool>{false, false}));
    EXPECT_TRUE(m.toolbarButton("Summary")->isEnabled());

    // A link found the driver missing and asked to close: the next screen
    // key, whatever it is, ends the program.
    s.ctx.closeRequested = true;
    bool ended = false;
    QObject::connect(&m, &frmParent::mainWindowUnloaded, [&] { ended = true; });
    m.SelectScreen("No such screen");
    EXPECT_TRUE(m.unloaded());
    EXPECT_TRUE(ended);
    EXPECT_FALSE(m.isVisible());
    EXPECT_EQ(m.activeChild(), nullptr);
}

TEST(Shell, ExitAndASecondInstanceEndTheProgram)
{
    {
        Shell s;
        frmParent& m = s.load("");
        m.toolbarButton("Exit")->trigger();
        EXPECT_TRUE(m.unloaded());
        EXPECT_FALSE(m.isVisible());
    }
    {
        Shell s;
        SingleInstance first(s.file("instance"));
        ASSERT_EQ(first.state(), SingleInstance::State::First);
        frmParent& m = s.load("");
        EXPECT_EQ(s.prompts.boxes(), (test::Boxes{{LoadResString(101), MsgBoxStyle::Critical, "HVN Linkport Toolkit"}}));
        EXPECT_TRUE(m.unloaded());
        EXPECT_FALSE(m.isVisible());
        EXPECT_EQ(s.ctx.g_strRegistryKey, ""); // nothing else was set up
    }
}

TEST(Shell, StatusPanelShowsMenuAndToolbarTexts)
{
    Shell s;
    frmParent& m = s.load("");
    QCoreApplication::processEvents();

    auto* help = s.find<QMenu>("mnuHelp");
    help->popup(m.mapToGlobal(QPoint(10, 10)));
    help->setActiveAction(s.find<QAction>("mnuHelpAbout"));
    EXPECT_EQ(s.panel1(), "About HVN Linkport Toolkit");
    s.clock.runFor(250);
    EXPECT_EQ(s.panel1(), "About HVN Linkport Toolkit"); // the poll agrees
    help->setActiveAction(s.find<QAction>("mnuHelpTopics"));
    EXPECT_EQ(s.panel1(), "Help Topics");
    help->hide();
    s.clock.runFor(250);
    EXPECT_EQ(s.panel1(), "Summary");

    auto* toolbar = s.find<QToolBar>("tlbMain");
    QWidget* flash = toolbar->widgetForAction(m.toolbarButton("Application Flash"));
    auto move = [](QWidget* w, QPoint p) {
        QMouseEvent e(QEvent::MouseMove, p, w->mapToGlobal(p), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
        QCoreApplication::sendEvent(w, &e);
    };
    move(flash, flash->rect().center());
    EXPECT_EQ(s.panel1(), "Application Firmware Flash");
    s.clock.runFor(250);
    EXPECT_EQ(s.panel1(), "Application Firmware Flash"); // no menu: the tip stays
    move(s.find<QWidget>("mdiClient"), QPoint(5, 5));
    EXPECT_EQ(s.panel1(), "Summary");
}

TEST(Shell, HelpOpensTheManualOrTheServiceToolsHelpFile)
{
    {
        Shell s;
        frmParent& m = s.load("");
        s.find<QAction>("mnuHelpTopics")->trigger();
        QCoreApplication::sendPostedEvents(&m, QEvent::KeyPress);
        ASSERT_NE(m.helpWindow(), nullptr);
        EXPECT_TRUE(m.helpWindow()->isVisible());
        auto* text = m.helpWindow()->findChild<QTextBrowser*>("txtHelp");
        EXPECT_TRUE(text->toPlainText().contains("user manual"));
        EXPECT_EQ(s.find<QAction>("mnuHelpTopics")->shortcut(), QKeySequence(Qt::Key_F1));
        // Esc closes the manual.
        QPointer<HelpWindow> help = m.helpWindow();
        for (QShortcut* keys : help->findChildren<QShortcut*>()) {
            if (keys->key() == QKeySequence(Qt::Key_Escape))
                emit keys->activated();
        }
        EXPECT_FALSE(help && help->isVisible());
        // The copy the program falls back on when no manual file is found.
        EXPECT_TRUE(QFile(":/docs/manual.md").exists());
    }
    {
        Shell s;
        const std::string folder = s.file("fieldscope");
        std::filesystem::create_directories(folder);
        test::writeFile(folder + "/index.html", "<html></html>");
        s.setRegistryText("SOFTWARE\\Halvorn Inc.\\SVK\\Halvorn Fieldscope", "Path", folder);
        QList<QUrl> opened;
        ShellOptions options;
        options.openUrl = [&](const QUrl& url) {
            opened << url;
            return true;
        };
        frmParent& m = s.load("", std::move(options));
        QKeyEvent f1(QEvent::KeyPress, Qt::Key_F1, Qt::NoModifier);
        QCoreApplication::sendEvent(&m, &f1);
        ASSERT_EQ(opened.size(), 1);
        EXPECT_EQ(QDir::toNativeSeparators(opened[0].toLocalFile()).toStdString(),
                  std::filesystem::path(folder + "/index.html").make_preferred().string());
        EXPECT_EQ(m.helpWindow(), nullptr);
    }
}

TEST(ShellDialogs, ExitReturnDialogGrowsWithItsMessageAndLeadsOn)
{
    Shell s;
    frmParent& m = s.load("/SIPUpgrade");
    frmExitReturnDialog dialog(s.ctx, m);
    EXPECT_EQ(dialog.windowTitle(), "HVN Linkport Toolkit");
    auto* label = dialog.findChild<QLabel*>("lblMessage");

    // The usual message stands on one line unless even the widest dialog
    // is too narrow for it (fonts differ); no blank band under the buttons;
    // longer texts grow the dialog by the label's extra height.
    const int line = label->fontMetrics().lineSpacing();
    dialog.g_SetMessageText(QString("Flash again. ").repeated(30));
    const int widest = dialog.width();
    const int widestLabel = label->width();
    dialog.g_SetMessageText(QString::fromStdString(LoadResString(500)));
    EXPECT_EQ(label->text().toStdString(), LoadResString(500));
    EXPECT_EQ(label->height(), label->heightForWidth(widestLabel)) << "no more lines than in the widest dialog";
    EXPECT_LT(dialog.width(), widest + 1);

    dialog.g_SetMessageText("Done.");
    const int oneLine = label->height();
    const int oneLineDialog = dialog.height();
    EXPECT_LT(oneLine, line * 3 / 2);
    EXPECT_LT(dialog.width(), widest) << "long lines widen the dialog, short ones do not";
    auto* toolkit = dialog.findChild<QPushButton*>("cmdToolkit");
    EXPECT_LE(dialog.height() - toolkit->geometry().bottom(), label->geometry().top() + 1);

    dialog.g_SetMessageText("1\r\n2\r\n3\r\n4\r\n5");
    const int fiveLines = label->height();
    EXPECT_GE(fiveLines, oneLine + 4 * line - 1);
    EXPECT_EQ(dialog.height() - oneLineDialog, fiveLines - oneLine);
    for (const char* name : {"cmdToolkit", "cmdFlash", "cmdExit"}) {
        auto* b = dialog.findChild<QPushButton*>(name);
        EXPECT_LE(b->geometry().bottom(), dialog.height()) << name;
        EXPECT_GT(b->geometry().top(), label->geometry().bottom()) << name;
    }

    // Toolkit: the Summary screen, without touching the toolbar's enabling.
    m.toolbarButton("Summary")->setEnabled(false);
    dialog.findChild<QPushButton*>("cmdToolkit")->click();
    EXPECT_EQ(s.tag(), "Summary");
    EXPECT_EQ(static_cast<StandInScreen*>(m.activeChild())->initialiseCount(), 1);
    EXPECT_FALSE(m.toolbarButton("Summary")->isEnabled());

    frmExitReturnDialog again(s.ctx, m);
    again.findChild<QPushButton*>("cmdExit")->click();
    EXPECT_TRUE(m.unloaded());
}

TEST(ShellDialogs, AboutDialogNamesTheEdition)
{
    Context ctx;
    const QString copyright = QString::fromStdString(LegalCopyright()) + " Halvorn Inc. All Rights Reserved";
    for (auto [mode, name, versionText] : {std::tuple{int16_t{1}, "HVN Linkport Toolkit", QString("Version ") + version::text},
                                          {int16_t{-1}, "Wireless Linkport Toolkit", QString("Version 1.0.0")}}) {
        ctx.g_intToolkitMode = mode;
        frmAboutDialog about(ctx);
        EXPECT_EQ(about.windowTitle(), QString("About ") + name);
        EXPECT_EQ(about.findChild<QLabel*>("lblTitle")->text(), name);
        EXPECT_EQ(about.findChild<QLabel*>("lblVersion")->text(), versionText);
        EXPECT_EQ(about.findChild<QLabel*>("lblCopyright")->text(), copyright);
        EXPECT_NE(about.findChild<QPushButton*>("cmdOK"), nullptr);
        about.show();
        const auto* line = about.findChild<QLabel*>("lblCopyright");
        EXPECT_EQ(line->heightForWidth(line->width()), line->heightForWidth(520)) << "no more lines than the widest box needs";
    }
}

TEST(ShellWindowButtons, ChangesTheTitleBarOrSaysWhyNot)
{
    test::TestContext t;
    QWidget window;
    window.show();
    EXPECT_TRUE(EnableMinButton(t.ctx, &window, false));
    EXPECT_FALSE(window.windowFlags().testFlag(Qt::WindowMinimizeButtonHint));
    EXPECT_TRUE(window.isVisible());
    EXPECT_TRUE(EnableMinButton(t.ctx, &window, true));
    EXPECT_TRUE(window.windowFlags().testFlag(Qt::WindowMinimizeButtonHint));
    EXPECT_TRUE(t.prompts.boxes().empty());

    QWidget child(&window);
    child.show();
    EXPECT_FALSE(EnableCloseButton(t.ctx, &child, false));
    window.close();
    EXPECT_FALSE(EnableMaxButton(t.ctx, &window, false));
    EXPECT_FALSE(EnableMaxButton(t.ctx, nullptr, true));
    std::vector<std::string> expected = {"modCloseBtn::EnableCloseButton() - Menu Item Not Found",
                                         "modCloseBtn::EnableMaxButton() - Invalid Window Handle",
                                         "modCloseBtn::EnableMaxButton() - Invalid Window Handle"};
    EXPECT_EQ(t.prompts.prompts(), expected);
}

TEST(ResPicture, DrawsTheIconAndTheThreeToolbarBitmaps)
{
    std::vector<QImage> images = {LoadResPicture(101, ResPictureKind::Icon),
                                  LoadResPicture(101, ResPictureKind::Bitmap),
                                  LoadResPicture(102, ResPictureKind::Bitmap),
                                  LoadResPicture(103, ResPictureKind::Bitmap)};
    for (size_t i = 0; i < images.size(); ++i) {
        ASSERT_FALSE(images[i].isNull()) << i;
        EXPECT_EQ(images[i].size(), QSize(32, 32));
        int inked = 0;
        for (int y = 0; y < 32; ++y)
            for (int x = 0; x < 32; ++x)
                inked += qAlpha(images[i].pixel(x, y)) > 0;
        EXPECT_GT(inked, 150) << i; // something is drawn
        for (size_t j = 0; j < i; ++j)
            EXPECT_NE(images[i], images[j]) << i << " " << j;
    }
    EXPECT_EQ(LoadResPicture(101, ResPictureKind::Bitmap, 64).size(), QSize(64, 64));
    EXPECT_TRUE(LoadResPicture(104, ResPictureKind::Bitmap).isNull());
    EXPECT_TRUE(LoadResPicture(102, ResPictureKind::Icon).isNull());
    EXPECT_TRUE(LoadResPicture(101, ResPictureKind::Cursor).isNull());
    EXPECT_TRUE(LoadResPicture(101, ResPictureKind::Icon, 0).isNull());
}
