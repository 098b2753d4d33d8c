#pragma once
// The adapter test screen: one button runs the datalink checks of
// link_checks.h and five labels show their results.
#include "adapters/lp2/link_checks.h"
#include "ui/child_screen.h"

class QLabel;
class QPushButton;

namespace lp {

class frmLPTest : public ChildScreen, public AdapterTestReport {
    Q_OBJECT
public:
    frmLPTest(Context& ctx, MainWindow& mainWindow);

    // Index 1 to 5 as the test numbers its results; "Red", "Green" or
    // "White" as the background (another word keeps the colour).
    void SetLabelResult(int16_t index, const std::string& colour, const std::string& text) override;

    void initialise() override;

    // True while the test sequence runs.
    bool testRunning() const { return running_; }

private:
    void Form_Initialize();
    void cmdTest_Click();
    void cmdClose_Click();
    QLabel* resultLabel(int16_t index) const;

    QLabel* lblBasicCommunicationResults = nullptr;
    QLabel* lblDriverFirmwareResults = nullptr;
    QLabel* lblJ1708Results = nullptr;
    QLabel* lblCDLResults = nullptr;
    QLabel* lblJ1939Results = nullptr;
    QPushButton* cmdTest = nullptr;
    QPushButton* cmdClose = nullptr;

    bool running_ = false;
    bool closeWhenDone_ = false;
};

} // namespace lp
