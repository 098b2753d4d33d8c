#pragma once
// The select-file dialog of the flash screen: a folder with its subfolders
// and the firmware files of the adapter kind, the chosen file's header
// before OK, and the check of the file against the kind when OK is pressed
// (the decisions are in select_file.h). A file that passes is handed to the
// flash screen (its SetFileName) and its folder remembered.
#include <QDialog>
#include <QString>

#include <functional>
#include <string>

#include "core/context.h"
#include "operations/flash_checks.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QListWidgetItem;
class QPushButton;

namespace lp {

class frmSelectFile : public QDialog {
    Q_OBJECT
public:
    using FileChosen = std::function<void(const std::string& path)>;

    // Opens in the remembered folder, else "FlashDir", else the home folder.
    frmSelectFile(Context& ctx, FlashKind kind, FileChosen onChosen, QWidget* parent);

    // The folder shown (absolute, native separators).
    QString folder() const { return folder_; }
    // Shows `path` when it is a folder; false (nothing changes) otherwise.
    bool openFolder(const QString& path);

    // OK: the typed or listed file is checked; a file that passes is handed
    // over and the dialog closes, otherwise the message stays with the user
    // and the dialog stays open. A typed folder is opened instead.
    void cmdOK_Click();

private:
    void layOutControls();
    void connectControls();
    void fillDrives();
    void fillLists();
    void showHeader(const QString& path);
    void clearHeader();
    QString chosenPath() const;
    void folderActivated(QListWidgetItem* item);
    void fileSelected();

    Context& ctx_;
    FlashKind kind_;
    FileChosen onChosen_;
    QString folder_;

    QComboBox* cmbDrive_;
    QLineEdit* txtFolder_;
    QListWidget* lstFolders_;
    QListWidget* lstFiles_;
    QComboBox* cmbFileType_;
    QLineEdit* txtFileName_;
    QLabel* lblFirmwareVersionValue_;
    QLabel* lblFirmwareTypeValue_;
    QLabel* lblReleaseDateValue_;
    QLabel* lblHardwareVersionsValue_;
    QPushButton* cmdOK_;
    QPushButton* cmdCancel_;
};

} // namespace lp
