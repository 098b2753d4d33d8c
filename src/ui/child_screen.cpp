#include "ui/child_screen.h"

#include "ui/frmParent.h"
#include "operations/startup.h"

namespace lp {

ChildScreen::ChildScreen(Context& ctx, frmParent& mainWindow, const QString& tag)
    : QWidget(nullptr), ctx_(ctx), main_(mainWindow), tag_(tag)
{
    setProperty("Tag", tag);
}

void ChildScreen::setMainCaption(const std::string& screenName)
{
    main_.setWindowTitle(QString::fromStdString(ScreenCaption(ctx_.g_intToolkitMode, screenName)));
}

} // namespace lp
