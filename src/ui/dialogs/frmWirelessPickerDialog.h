#pragma once
// The wireless picker: the user lists, adds, changes and removes the
// wireless adapters the driver knows (LPIPRP32.INI) and chooses the one to
// use. Opened by the main window and by the Preferences screen:
//
//     frmWirelessPickerDialog::showPicker(ctx, ownerWidget);
//
// Select writes the list and the choice and returns the user to the active
// screen (or to Summary while no device kind is set); Cancel changes nothing.
#include <QDialog>
#include <QWidget>

#include "core/context.h"
#include "adapters/wireless/wireless_adapter_list.h"

class QLabel;
class QLineEdit;
class QPushButton;
class QTreeWidget;

namespace lp {

// The picker control: the adapter list with its editor. Its two methods are
// LoadList (read the INI file) and ApplyChoice (write it back). Refused edits
// are explained in a message box through the context's prompts.
class WirelessPicker : public QWidget {
    Q_OBJECT
public:
    WirelessPicker(Context& ctx, QWidget* parent = nullptr);

    void LoadList();
    // False when the INI file could not be written (the reason is logged).
    bool ApplyChoice();

    const WirelessAdapterList& list() const { return list_; }

    // The editor's buttons, as a click runs them; true when the edit was taken.
    bool addFromFields();
    bool changeFromFields();
    bool removeSelected();

private:
    void refresh();
    void rowChosen();
    void showRefusal(const std::string& message);

    Context& ctx_;
    WirelessAdapterList list_;
    QTreeWidget* lstAdapters_ = nullptr;
    QLineEdit* txtName_ = nullptr;
    QLineEdit* txtAddress_ = nullptr;
    QLineEdit* txtSerial_ = nullptr;
    QPushButton* cmdAdd_ = nullptr;
    QPushButton* cmdChange_ = nullptr;
    QPushButton* cmdRemove_ = nullptr;
};

class frmWirelessPickerDialog : public QDialog {
    Q_OBJECT
public:
    // Loads the list at once (the dialog's load).
    frmWirelessPickerDialog(Context& ctx, QWidget* owner);

    // The entry point: shows the picker modally over `owner` and returns
    // QDialog::Accepted after Select, QDialog::Rejected after Cancel.
    static int showPicker(Context& ctx, QWidget* owner);

    WirelessPicker* WirelessPicker1() const { return picker_; }

    void cmdSelect_Click();
    void cmdCancel_Click();

private:
    void placeOverOwner();

    Context& ctx_;
    WirelessPicker* picker_ = nullptr;
    QLabel* imgPicture_ = nullptr;
    QPushButton* cmdSelect_ = nullptr;
    QPushButton* cmdCancel_ = nullptr;
};

} // namespace lp
