#include "ui/dialogs/frmSelectFile.h"

#include <QComboBox>
#include <QDir>
#include <QFileInfo>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include <vector>

#include "firmware/firmware_header.h"
#include "operations/select_file.h"
#include "core/string_table.h"

namespace lp {

namespace {

const QString kParentFolder = QStringLiteral("..");

QString qs(const std::string& text) { return QString::fromStdString(text); }

QLabel* valueLabel(const char* name, QWidget* parent)
{
    auto* label = new QLabel(parent);
    label->setObjectName(name);
    label->setTextFormat(Qt::PlainText);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    label->setMinimumWidth(180);
    return label;
}

} // namespace

frmSelectFile::frmSelectFile(Context& ctx, FlashKind kind, FileChosen onChosen, QWidget* parent)
    : QDialog(parent), ctx_(ctx), kind_(kind), onChosen_(std::move(onChosen))
{
    setObjectName("frmSelectFile");
    setProperty("Tag", "Select File");
    setWindowTitle("Select File");
    setModal(true);

    txtFileName_ = new QLineEdit(this);
    txtFileName_->setObjectName("txtFileName");
    lstFiles_ = new QListWidget(this);
    lstFiles_->setObjectName("lstFiles");
    cmbFileType_ = new QComboBox(this);
    cmbFileType_->setObjectName("cmbFileType");
    cmbFileType_->addItem(qs(FirmwareFileFilterText(kind)));

    txtFolder_ = new QLineEdit(this);
    txtFolder_->setObjectName("txtFolder");
    lstFolders_ = new QListWidget(this);
    lstFolders_->setObjectName("lstFolders");
    cmbDrive_ = new QComboBox(this);
    cmbDrive_->setObjectName("cmbDrive");

    cmdOK_ = new QPushButton("OK", this);
    cmdOK_->setObjectName("cmdOK");
    cmdOK_->setDefault(true);
    cmdCancel_ = new QPushButton("Cancel", this);
    cmdCancel_->setObjectName("cmdCancel");

    layOutControls();
    connectControls();

    const std::string start = SelectFileStartFolder(ctx_, [](const std::string& path) {
        return QFileInfo(QString::fromStdString(path)).isDir();
    });
    if (start.empty() || !openFolder(qs(start)))
        openFolder(QDir::homePath());
}

void frmSelectFile::layOutControls()
{
    auto* info = new QGroupBox("File Information:", this);
    info->setObjectName("fraFileInformation");
    lblFirmwareVersionValue_ = valueLabel("lblFirmwareVersionValue", info);
    lblFirmwareTypeValue_ = valueLabel("lblFirmwareTypeValue", info);
    lblReleaseDateValue_ = valueLabel("lblReleaseDateValue", info);
    lblHardwareVersionsValue_ = valueLabel("lblHardwareVersionsValue", info);
    auto* infoLayout = new QFormLayout(info);
    infoLayout->addRow("Application Firmware Version:", lblFirmwareVersionValue_);
    infoLayout->addRow("File Type:", lblFirmwareTypeValue_);
    infoLayout->addRow("Release Date:", lblReleaseDateValue_);
    infoLayout->addRow("Supported Hardware Version:", lblHardwareVersionsValue_);

    // Each caption names its control, so Alt and the underlined letter go there.
    const auto caption = [this](const char* text, QWidget* buddy) {
        auto* label = new QLabel(text, this);
        label->setBuddy(buddy);
        return label;
    };
    auto* grid = new QGridLayout;
    grid->addWidget(caption("File &name:", txtFileName_), 0, 0);
    grid->addWidget(txtFileName_, 1, 0);
    grid->addWidget(lstFiles_, 2, 0);
    grid->addWidget(caption("Files of &type:", cmbFileType_), 3, 0);
    grid->addWidget(cmbFileType_, 4, 0);
    grid->addWidget(caption("&Folders:", lstFolders_), 0, 1);
    grid->addWidget(txtFolder_, 1, 1);
    grid->addWidget(lstFolders_, 2, 1);
    grid->addWidget(caption("Dri&ves:", cmbDrive_), 3, 1);
    grid->addWidget(cmbDrive_, 4, 1);
    // The file names get the room: they are what the user reads.
    grid->setColumnStretch(0, 3);
    grid->setColumnStretch(1, 2);
    auto* buttons = new QVBoxLayout;
    buttons->addWidget(cmdOK_);
    buttons->addWidget(cmdCancel_);
    buttons->addStretch(1);
    grid->addLayout(buttons, 0, 2, 3, 1);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(grid);
    layout->addWidget(info);
    resize(560, 420);
}

void frmSelectFile::connectControls()
{
    connect(cmdOK_, &QPushButton::clicked, this, &frmSelectFile::cmdOK_Click);
    connect(cmdCancel_, &QPushButton::clicked, this, &QDialog::reject);
    connect(lstFiles_, &QListWidget::currentItemChanged, this, [this] { fileSelected(); });
    connect(lstFiles_, &QListWidget::itemActivated, this, [this] { cmdOK_Click(); });
    connect(lstFolders_, &QListWidget::itemActivated, this, &frmSelectFile::folderActivated);
    connect(txtFolder_, &QLineEdit::returnPressed, this, [this] {
        if (!openFolder(txtFolder_->text()))
            txtFolder_->setText(folder_);
    });
    connect(txtFileName_, &QLineEdit::textEdited, this, [this] {
        const QString path = chosenPath();
        if (!path.isEmpty() && QFileInfo(path).isFile())
            showHeader(path);
        else
            clearHeader();
    });
    connect(cmbDrive_, &QComboBox::activated, this, [this](int index) {
        if (!openFolder(cmbDrive_->itemData(index).toString()))
            fillDrives();
    });
}

bool frmSelectFile::openFolder(const QString& path)
{
    const QFileInfo info(path);
    if (path.isEmpty() || !info.isDir())
        return false;
    folder_ = QDir::toNativeSeparators(QDir::cleanPath(info.absoluteFilePath()));
    txtFolder_->setText(folder_);
    fillDrives();
    fillLists();
    return true;
}

void frmSelectFile::fillDrives()
{
    cmbDrive_->clear();
    QStringList roots;
    for (const QFileInfo& drive : QDir::drives())
        roots << QDir::toNativeSeparators(drive.absoluteFilePath());
    const QString home = QDir::toNativeSeparators(QDir::homePath());
    if (!roots.contains(home))
        roots << home;
    int current = -1;
    for (const QString& root : roots) {
        cmbDrive_->addItem(root, root);
        // The root the shown folder lies on (the longest that contains it).
        if (folder_.startsWith(root, Qt::CaseInsensitive)
            && (current < 0 || root.size() > cmbDrive_->itemText(current).size()))
            current = cmbDrive_->count() - 1;
    }
    cmbDrive_->setCurrentIndex(current);
}

void frmSelectFile::fillLists()
{
    const QDir dir(folder_);
    lstFolders_->clear();
    if (!dir.isRoot())
        lstFolders_->addItem(kParentFolder);
    std::vector<std::string> folders, files;
    for (const QString& name : dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot))
        folders.push_back(name.toStdString());
    for (const QString& name : dir.entryList(QDir::Files)) {
        if (FirmwareFileListed(kind_, name.toStdString()))
            files.push_back(name.toStdString());
    }
    SortFileNames(folders);
    SortFileNames(files);
    for (const std::string& name : folders)
        lstFolders_->addItem(qs(name));
    lstFiles_->clear();
    for (const std::string& name : files)
        lstFiles_->addItem(qs(name));
    txtFileName_->clear();
    clearHeader();
}

void frmSelectFile::folderActivated(QListWidgetItem* item)
{
    if (!item)
        return;
    QDir dir(folder_);
    if (item->text() == kParentFolder ? dir.cdUp() : dir.cd(item->text()))
        openFolder(dir.absolutePath());
}

void frmSelectFile::fileSelected()
{
    QListWidgetItem* item = lstFiles_->currentItem();
    if (!item) {
        clearHeader();
        return;
    }
    txtFileName_->setText(item->text());
    showHeader(chosenPath());
}

void frmSelectFile::showHeader(const QString& path)
{
    const FirmwareFileHeader header = ReadFirmwareFileHeader(ctx_, path.toStdString());
    lblFirmwareVersionValue_->setText(qs(header.FirmwareVersion));
    lblFirmwareTypeValue_->setText(qs(header.FirmwareType));
    lblReleaseDateValue_->setText(qs(header.ReleaseDate));
    lblHardwareVersionsValue_->setText(qs(header.HardwareVersions));
}

void frmSelectFile::clearHeader()
{
    for (QLabel* label : {lblFirmwareVersionValue_, lblFirmwareTypeValue_, lblReleaseDateValue_,
                          lblHardwareVersionsValue_})
        label->clear();
}

QString frmSelectFile::chosenPath() const
{
    const QString typed = txtFileName_->text();
    if (typed.trimmed().isEmpty())
        return {};
    const QString path = QFileInfo(typed).isAbsolute() ? typed : QDir(folder_).filePath(typed);
    return QDir::toNativeSeparators(QDir::cleanPath(path));
}

void frmSelectFile::cmdOK_Click()
{
    const QString path = chosenPath();
    if (!path.isEmpty() && QFileInfo(path).isDir()) {
        openFolder(path);
        return;
    }
    const std::string chosen = path.toStdString();
    if (!AcceptSelectedFile(ctx_, kind_, chosen))
        return;
    RememberFlashFolder(ctx_, QDir::toNativeSeparators(QFileInfo(path).absolutePath()).toStdString());
    accept();
    if (onChosen_)
        onChosen_(chosen);
}

} // namespace lp
