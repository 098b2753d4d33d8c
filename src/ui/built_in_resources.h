#pragma once
// The manual and the icon picture are compiled into lp_qt, a static library:
// the linker drops the resource object unless something names it, so every
// program that links lp_qt would have to remember to. Code that reads a
// ":/..." path calls this first instead.

namespace lp {

void loadBuiltInResources();

} // namespace lp
