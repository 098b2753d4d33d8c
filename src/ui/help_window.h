#pragma once
// The user manual in a window of its own. The text comes from the first of:
// the installed data folder (<program folder>/../share/linkport-toolkit/
// manual.md), the source tree the program was built from (docs/manual.md),
// and the copy built into the program, which is always there.
#include <QString>
#include <QWidget>

class QTextBrowser;

namespace lp {

class HelpWindow : public QWidget {
    Q_OBJECT
public:
    explicit HelpWindow(QWidget* parent = nullptr);

    // Where the text was read from (a path or ":/docs/manual.md").
    const QString& source() const { return source_; }

    static QString findManual();

private:
    QTextBrowser* txtHelp_;
    QString source_;
};

} // namespace lp
