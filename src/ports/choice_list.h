#pragma once
// A drop-down choice list as the procedures see it: items added in order and
// the index the user selected. Widgets adapt a combo box to it; procedures
// and tests use ChoiceItems.
#include <string>
#include <vector>

namespace lp {

class ChoiceList {
public:
    virtual ~ChoiceList() = default;
    virtual void addItem(const std::string& text) = 0;
    virtual int listCount() const = 0;
    // The selected index, -1 when nothing is selected.
    virtual int listIndex() const = 0;
    virtual std::string itemText(int index) const = 0;
};

// A list without a widget.
class ChoiceItems final : public ChoiceList {
public:
    std::vector<std::string> items;
    int selected = -1;

    void addItem(const std::string& text) override { items.push_back(text); }
    int listCount() const override { return static_cast<int>(items.size()); }
    int listIndex() const override { return selected; }
    std::string itemText(int index) const override
    {
        return index >= 0 && index < listCount() ? items[static_cast<size_t>(index)] : std::string{};
    }
};

} // namespace lp
