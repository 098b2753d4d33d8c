#pragma once
// Widths for word-wrapped labels. A layout gives such a label the narrowest
// width it can, and a width taken from font metrics alone can come out a few
// pixels short of what the label's own line breaking needs with some fonts;
// this asks the label itself.
class QLabel;

namespace lp {

// The narrowest width between `narrowest` and `widest` at which the
// word-wrapped label is no taller than at `widest` (its text breaks only
// where it must).
int FittingLabelWidth(const QLabel& label, int narrowest, int widest);

} // namespace lp
