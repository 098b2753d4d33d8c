#pragma once
// Stand-ins for screens that are not written yet: each behaves as the shell
// expects of the real one (tag, caption, initialisation) and says plainly
// that the function is not available.
#include <QDialog>

#include "ui/child_screen.h"

namespace lp {

class PlaceholderScreen : public ChildScreen {
    Q_OBJECT
public:
    // formName becomes the objectName (frmVersion, frmFlash, frmLPTest).
    PlaceholderScreen(Context& ctx, frmParent& mainWindow, const QString& tag, const QString& formName,
                      const std::string& screenName);

    void initialise() override;
    int initialiseCount() const { return initialiseCount_; }

private:
    int initialiseCount_ = 0;
};

// The Preferences dialog until the real one lands: OK and Cancel only.
class PlaceholderPreferences : public QDialog {
    Q_OBJECT
public:
    explicit PlaceholderPreferences(QWidget* parent);
};

} // namespace lp
