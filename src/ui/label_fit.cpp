#include "ui/label_fit.h"

#include <QLabel>

namespace lp {

int FittingLabelWidth(const QLabel& label, int narrowest, int widest)
{
    if (widest <= narrowest)
        return narrowest;
    const int target = label.heightForWidth(widest);
    // Height falls as width grows: the first width that reaches the target.
    int low = narrowest, high = widest;
    while (low < high) {
        const int middle = low + (high - low) / 2;
        if (label.heightForWidth(middle) <= target)
            high = middle;
        else
            low = middle + 1;
    }
    return low;
}

} // namespace lp
