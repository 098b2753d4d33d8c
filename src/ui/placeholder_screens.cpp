#include "ui/placeholder_screens.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "ui/frmParent.h"
#include "operations/startup.h"
#include "core/string_table.h"

namespace lp {

PlaceholderScreen::PlaceholderScreen(Context& ctx, frmParent& mainWindow, const QString& tag,
                                     const QString& formName, const std::string& screenName)
    : ChildScreen(ctx, mainWindow, tag)
{
    setObjectName(formName);
    auto* layout = new QVBoxLayout(this);
    auto* heading = new QLabel(QString::fromStdString(screenName), this);
    heading->setObjectName("lblHeading");
    QFont f = heading->font();
    f.setPointSizeF(f.pointSizeF() * 1.4);
    f.setBold(true);
    heading->setFont(f);
    auto* note = new QLabel(tr("This screen is not available in this version of the program."), this);
    note->setObjectName("lblNotAvailable");
    note->setWordWrap(true);
    layout->addWidget(heading);
    layout->addWidget(note);
    layout->addStretch(1);
    setMainCaption(screenName);
}

void PlaceholderScreen::initialise()
{
    ++initialiseCount_;
    mainWindow().restorePanelText();
}

PlaceholderPreferences::PlaceholderPreferences(QWidget* parent) : QDialog(parent)
{
    setObjectName("frmPreferences");
    setProperty("Tag", "Preferences");
    setWindowTitle("Preferences");
    auto* layout = new QVBoxLayout(this);
    auto* note = new QLabel(tr("Choosing the interface device, port and baud rate is not available in this "
                               "version of the program."),
                            this);
    note->setObjectName("lblNotAvailable");
    note->setWordWrap(true);
    layout->addWidget(note);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->button(QDialogButtonBox::Ok)->setObjectName("cmdOK");
    buttons->button(QDialogButtonBox::Cancel)->setObjectName("cmdCancel");
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
    resize(360, 140);
}

} // namespace lp
