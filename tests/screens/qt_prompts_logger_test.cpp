// A message box is how every failure reaches the user: the answer codes and
// the Escape rule decide which branch a procedure takes. The log file is what
// support gets back: it must keep lines whole and never grow without bound.
#include <gtest/gtest.h>

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QKeyEvent>
#include <QTimer>

#include <filesystem>
#include <functional>
#include <string>
#include <tuple>

#include "platform/qt/qt_logger.h"
#include "platform/qt/qt_prompts.h"
#include "doubles/memory_logger.h"
#include "support/temp_dir.h"

using namespace lp;

namespace {

// Runs `act` on the box once it is up, from inside its modal loop.
int answerBox(QtPrompts& prompts, const std::string& text, int style, const std::function<void(QMessageBox&)>& act)
{
    std::function<void()> look;
    look = [&] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box)
            return QTimer::singleShot(5, look);
        act(*box);
    };
    QTimer::singleShot(0, look);
    return prompts.msgBox(text, style, "HVN Linkport Toolkit");
}

void pressKey(QMessageBox& box, Qt::Key key)
{
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
    QApplication::sendEvent(&box, &press);
}

} // namespace

TEST(QtPrompts, ButtonsIconsDefaultsAndEscape)
{
    sim::MemoryLogger log;
    QtPrompts prompts(&log);

    // A driver's text keeps its terminating NUL; the box shows what is before it.
    // (The answer comes only from the Escape pressed here, so these checks ran.)
    EXPECT_EQ(answerBox(prompts, std::string("Replace newer firmware?\0\x7f", 25), MsgBoxStyle::YesNo + MsgBoxStyle::Question,
                        [&](QMessageBox& box) {
                            EXPECT_EQ(box.windowTitle(), "HVN Linkport Toolkit");
                            EXPECT_EQ(box.text(), "Replace newer firmware?");
                            EXPECT_EQ(box.icon(), QMessageBox::Question);
                            EXPECT_EQ(box.buttons().size(), 2);
                            EXPECT_EQ(box.defaultButton(), box.button(QMessageBox::Yes));
                            pressKey(box, Qt::Key_Escape);
                        }),
              MsgBoxResult::No);
    EXPECT_TRUE(log.contains(LogSubsystem::Shell, "Replace newer firmware?"));

    // Escape gives the cancelling answer, Return the default button's
    // (256: the second button named as default).
    const std::tuple<int, Qt::Key, int> keys[] = {
        {MsgBoxStyle::RetryCancel + MsgBoxStyle::Exclamation, Qt::Key_Escape, MsgBoxResult::Cancel},
        {MsgBoxStyle::OkOnly, Qt::Key_Escape, MsgBoxResult::Ok},
        {MsgBoxStyle::YesNoCancel + MsgBoxStyle::Information, Qt::Key_Return, MsgBoxResult::Yes},
        {MsgBoxStyle::OkCancel + 256, Qt::Key_Return, MsgBoxResult::Cancel}};
    for (auto [style, key, answer] : keys)
        EXPECT_EQ(answerBox(prompts, "Go on?", style, [key](QMessageBox& box) { pressKey(box, key); }), answer) << style;
    // Abort/Retry/Ignore has no Escape answer: the key is ignored, a button must be pressed.
    EXPECT_EQ(answerBox(prompts, "Record refused", MsgBoxStyle::AbortRetryIgnore + MsgBoxStyle::Critical,
                        [&](QMessageBox& box) {
                            EXPECT_EQ(box.icon(), QMessageBox::Critical);
                            pressKey(box, Qt::Key_Escape);
                            EXPECT_TRUE(box.isVisible());
                            box.button(QMessageBox::Ignore)->click();
                        }),
              MsgBoxResult::Ignore);
}

TEST(QtLogger, FileLinesRotationAndUnwritableFolder)
{
    lp::test::TempDir dir;
    const std::string path = dir.file("linkport.log");
    ASSERT_EQ(installLogFile(path), path);
    QtLogger logger;
    logger.debug(LogSubsystem::Links, "5E 02 01 02 A1\nsecond line");
    logger.warning(LogSubsystem::Flash, "record 12 refused");
    std::string text = lp::test::readFile(path); // flushed line by line: readable at once
    EXPECT_NE(text.find(" debug linkport.links: 5E 02 01 02 A1\n    second line\n"), std::string::npos) << text;
    EXPECT_NE(text.find(" warning linkport.flash: record 12 refused\n"), std::string::npos) << text;

    const std::string filler(1000, 'x');
    for (int i = 0; i < 2300; ++i)
        logger.debug(LogSubsystem::Links, filler);
    logger.info(LogSubsystem::Shell, "after rotation");
    EXPECT_TRUE(lp::test::fileExists(path + ".1"));
    EXPECT_LE(std::filesystem::file_size(path), static_cast<uintmax_t>(kLogFileRotateBytes));
    EXPECT_LE(std::filesystem::file_size(path + ".1"), static_cast<uintmax_t>(kLogFileRotateBytes));
    EXPECT_NE(lp::test::readFile(path).find("after rotation"), std::string::npos);

    // A file that cannot be made leaves logging on stderr; nothing fails.
    EXPECT_EQ(installLogFile(dir.file("no/such/folder/linkport.log")), "");
    logger.warning(LogSubsystem::Platform, "still alive");
    uninstallLogFile();
}
