#pragma once
// A combo box as the wireless list procedures see it (the adapter lists of
// the Summary and the flash screen).
#include <QComboBox>

#include "ports/choice_list.h"

namespace lp {

class ComboChoices final : public ChoiceList {
public:
    explicit ComboChoices(QComboBox& combo) : combo_(combo) {}
    void addItem(const std::string& text) override { combo_.addItem(QString::fromStdString(text)); }
    int listCount() const override { return combo_.count(); }
    int listIndex() const override { return combo_.currentIndex(); }
    // An index outside the list reads as "" (QComboBox's own answer there).
    std::string itemText(int index) const override { return combo_.itemText(index).toStdString(); }

private:
    QComboBox& combo_;
};

} // namespace lp
