#pragma once
// What the main window needs of the screens it hosts, and the one place that
// says which class serves which screen key.
#include <QString>
#include <QWidget>

#include <functional>
#include <map>
#include <string>

#include "core/context.h"

namespace lp {

class MainWindow;

// A screen shown inside the main window, one at a time. It carries its
// screen key as its tag (also the Qt property "Tag", which the Preferences
// dialog carries as well), and sets the main window's caption to the program
// title, " - " and its own name when it loads.
class ChildScreen : public QWidget {
    Q_OBJECT
public:
    ChildScreen(Context& ctx, MainWindow& mainWindow, const QString& tag);

    QString Tag() const { return tag_; }

    // The screen's initialisation: run after the screen is shown, and again
    // when its key is chosen while it is already shown (a refresh).
    virtual void initialise() {}

protected:
    Context& ctx() { return ctx_; }
    MainWindow& mainWindow() { return main_; }
    // Main window caption: program title (by edition), " - ", screenName.
    void setMainCaption(const std::string& screenName);

private:
    Context& ctx_;
    MainWindow& main_;
    QString tag_;
};

// Builds the screens by key. A child factory makes the screen (parented by
// the shell); the Preferences entry shows its dialog modally and returns the
// dialog's result. unloadConnectingDialog, when set, closes the connecting
// dialog that earlier start-up steps may have opened.
struct ScreenFactory {
    std::map<std::string, std::function<ChildScreen*(Context&, MainWindow&)>> children;
    std::function<int(Context&, MainWindow&)> preferences;
    std::function<void(Context&)> unloadConnectingDialog;
};

// The screens of this program.
ScreenFactory defaultScreenFactory();

} // namespace lp
