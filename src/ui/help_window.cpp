#include "ui/help_window.h"

#include <QShortcut>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTextBrowser>
#include <QVBoxLayout>

#include "ui/built_in_resources.h"
#include "ui/res_picture.h"
#include "core/string_table.h"

namespace lp {

namespace {

constexpr const char* kBuiltIn = ":/docs/manual.md";

QString readText(const QString& path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return QString();
    // A manual is small; anything huge is not ours.
    return QString::fromUtf8(f.read(4 * 1024 * 1024));
}

} // namespace

QString HelpWindow::findManual()
{
    QStringList candidates;
    if (QCoreApplication::instance()) {
        const QDir programs(QCoreApplication::applicationDirPath());
        candidates << programs.absoluteFilePath("../share/linkport-toolkit/manual.md")
                   << programs.absoluteFilePath("../share/doc/linkport-toolkit/manual.md") // the package's place
                   << programs.absoluteFilePath("doc/manual.md"); // the Windows installer's
    }
    // This file lives in src/ui/ of the source tree.
    candidates << QFileInfo(QString::fromUtf8(__FILE__)).absoluteDir().absoluteFilePath("../../docs/manual.md");
    for (const QString& c : candidates) {
        if (QFileInfo(c).isFile())
            return QFileInfo(c).canonicalFilePath();
    }
    return kBuiltIn;
}

HelpWindow::HelpWindow(QWidget* parent) : QWidget(parent, Qt::Window)
{
    setObjectName("frmHelp");
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QString::fromStdString(LoadResString(Res::ProgramTitle)) + " Help");
    setWindowIcon(resIcon(ResPictureId::AppIcon, ResPictureKind::Icon));

    txtHelp_ = new QTextBrowser(this);
    txtHelp_->setObjectName("txtHelp");
    txtHelp_->setOpenExternalLinks(true);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(txtHelp_);

    loadBuiltInResources();
    source_ = findManual();
    QString text = readText(source_);
    if (text.isEmpty() && source_ != kBuiltIn) {
        source_ = kBuiltIn;
        text = readText(source_);
    }
    if (text.isEmpty())
        text = "The user manual could not be found.";
    txtHelp_->setMarkdown(text);
    resize(640, 560);
    // Closed from the keyboard as any document window is.
    for (const QKeySequence& keys : {QKeySequence(Qt::Key_Escape), QKeySequence(QKeySequence::Close)})
        connect(new QShortcut(keys, this), &QShortcut::activated, this, &QWidget::close);
}

} // namespace lp
