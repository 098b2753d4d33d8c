#include "ui/child_screen.h"

#include "ui/main_window.h"
#include "operations/startup.h"

namespace lp {

ChildScreen::ChildScreen(Context& ctx, MainWindow& mainWindow, const QString& tag)
    : QWidget(nullptr), ctx_(ctx), main_(mainWindow), tag_(tag)
{
    setProperty("Tag", tag);
}

void ChildScreen::setMainCaption(const std::string& screenName)
{
    main_.ownerWidget()->setWindowTitle(QString::fromStdString(ScreenCaption(ctx_.g_intToolkitMode, screenName)));
}

} // namespace lp
