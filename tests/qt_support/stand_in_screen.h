#pragma once
// A screen that does what the shell expects of any screen (tag, caption,
// initialisation) and nothing else, for tests of the shell and of screens
// that hand over to another one.
#include <QLabel>
#include <QVBoxLayout>

#include <functional>

#include "ui/child_screen.h"
#include "ui/main_window.h"

namespace lp {

class StandInScreen : public ChildScreen {
public:
    // formName becomes the objectName (frmVersion, frmFlash, frmLPTest).
    StandInScreen(Context& ctx, MainWindow& mainWindow, const QString& tag, const QString& formName,
                  const std::string& screenName)
        : ChildScreen(ctx, mainWindow, tag)
    {
        setObjectName(formName);
        auto* layout = new QVBoxLayout(this);
        layout->addWidget(new QLabel(QString::fromStdString(screenName), this));
        setMainCaption(screenName);
    }

    void initialise() override
    {
        ++initialiseCount_;
        if (onInitialise)
            onInitialise();
        mainWindow().restorePanelText();
    }
    int initialiseCount() const { return initialiseCount_; }
    // Runs inside each initialisation, for tests of what the shell does meanwhile.
    std::function<void()> onInitialise;

private:
    int initialiseCount_ = 0;
};

} // namespace lp
