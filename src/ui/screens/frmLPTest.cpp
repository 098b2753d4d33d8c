#include "ui/screens/frmLPTest.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

#include "ui/main_window.h"
#include "operations/startup.h"
#include "core/string_table.h"

namespace lp {

namespace {

// Results for a screen that may be unloaded while the test runs.
class GuardedReport final : public AdapterTestReport {
public:
    explicit GuardedReport(frmLPTest* screen) : screen_(screen) {}
    void SetLabelResult(int16_t index, const std::string& colour, const std::string& text) override
    {
        if (screen_)
            screen_->SetLabelResult(index, colour, text);
    }

private:
    QPointer<frmLPTest> screen_;
};

} // namespace

frmLPTest::frmLPTest(Context& ctx, MainWindow& mainWindow) : ChildScreen(ctx, mainWindow, ScreenKey::LPTest)
{
    setObjectName("frmLPTest");

    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(16);
    grid->setVerticalSpacing(10);
    struct Row {
        const char* caption;
        const char* captionName;
        const char* resultName;
        QLabel** result;
    };
    const Row rows[] = {
        {"Basic Communication:", "lblBasicCommunication", "lblBasicCommunicationResults",
         &lblBasicCommunicationResults},
        {"Driver vs. Firmware Compatibility:", "lblDriverFirmware", "lblDriverFirmwareResults",
         &lblDriverFirmwareResults},
        {"J1708 Communication:", "lblJ1708", "lblJ1708Results", &lblJ1708Results},
        {"CDL Communication:", "lblCDL", "lblCDLResults", &lblCDLResults},
        {"J1939 Communication:", "lblJ1939", "lblJ1939Results", &lblJ1939Results},
    };
    int line = 0;
    for (const Row& row : rows) {
        auto* caption = new QLabel(row.caption, this);
        caption->setObjectName(row.captionName);
        caption->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        auto* result = new QLabel(this);
        result->setObjectName(row.resultName);
        result->setAlignment(Qt::AlignCenter);
        result->setFrameStyle(QFrame::Panel | QFrame::Sunken);
        result->setMinimumWidth(120);
        result->setAutoFillBackground(true);
        caption->setBuddy(result);
        *row.result = result;
        grid->addWidget(caption, line, 0);
        grid->addWidget(result, line, 1);
        ++line;
    }

    cmdTest = new QPushButton(tr("&Test"), this);
    cmdTest->setObjectName("cmdTest");
    cmdTest->setDefault(true);
    cmdClose = new QPushButton(tr("&Close"), this);
    cmdClose->setObjectName("cmdClose");
    connect(cmdTest, &QPushButton::clicked, this, [this] { cmdTest_Click(); });
    connect(cmdClose, &QPushButton::clicked, this, [this] { cmdClose_Click(); });

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(cmdTest);
    buttons->addWidget(cmdClose);
    buttons->addStretch(1);

    auto* centred = new QHBoxLayout;
    centred->addStretch(1);
    centred->addLayout(grid);
    centred->addStretch(1);

    auto* layout = new QVBoxLayout(this);
    layout->addStretch(1);
    layout->addLayout(centred);
    layout->addSpacing(24);
    layout->addLayout(buttons);
    layout->addStretch(2);

    // Form load.
    const std::string name = LoadResString(Res::Lp2Name) + " Test";
    setWindowTitle(QString::fromStdString(name));
    setMainCaption(name);
    // The main window shows this screen without initialising it.
    mainWindow.restorePanelText();
    Form_Initialize();
}

void frmLPTest::initialise()
{
    mainWindow().restorePanelText();
    // The screen's one action is a key press away.
    cmdTest->setFocus();
}

void frmLPTest::Form_Initialize() { InitialiseTestResults(*this); }

QLabel* frmLPTest::resultLabel(int16_t index) const
{
    switch (index) {
    case TestResult::BasicCommunication: return lblBasicCommunicationResults;
    case TestResult::DriverFirmware: return lblDriverFirmwareResults;
    case TestResult::J1708: return lblJ1708Results;
    case TestResult::CDL: return lblCDLResults;
    case TestResult::J1939: return lblJ1939Results;
    default: return nullptr;
    }
}

void frmLPTest::SetLabelResult(int16_t index, const std::string& colour, const std::string& text)
{
    QLabel* label = resultLabel(index);
    if (!label)
        return;
    if (const std::optional<ResultRgb> rgb = ResultColour(colour)) {
        QPalette palette = label->palette();
        const QColor background(rgb->red, rgb->green, rgb->blue);
        palette.setColor(QPalette::Window, background);
        // Black on every result colour, whatever the desktop's theme.
        palette.setColor(QPalette::WindowText, Qt::black);
        label->setPalette(palette);
    }
    label->setText(QString::fromStdString(text));
}

void frmLPTest::cmdTest_Click()
{
    // The checks let window messages run before every driver call, so a
    // second press can arrive while a test runs. It is ignored: the running
    // sequence owns the driver's one client, and a queued run would only
    // repeat what the technician is watching.
    if (running_)
        return;
    running_ = true;
    // The main window may unload this screen from a menu while messages run;
    // the sequence then finishes its checks (closing the driver's client)
    // without a screen to show them on.
    QPointer<frmLPTest> self(this);
    GuardedReport report(this);
    Context& context = ctx();
    RunAdapterTest(context, report);
    if (!self)
        return;
    running_ = false;
    if (closeWhenDone_) {
        closeWhenDone_ = false;
        cmdClose_Click();
    }
}

void frmLPTest::cmdClose_Click()
{
    // Leaving while the checks run would start the Summary screen's own
    // driver calls in the middle of them; the switch waits for the test.
    if (running_) {
        closeWhenDone_ = true;
        return;
    }
    if (ctx().ports.screens)
        ctx().ports.screens->SelectScreen(ScreenKey::Summary);
}

} // namespace lp
