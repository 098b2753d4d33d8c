#pragma once
// The one QApplication of the screen and end-to-end tests. It is made before the first test
// (offscreen unless QT_QPA_PLATFORM says otherwise) and lives until the
// program ends; tests must not make their own.
#include <QApplication>

namespace lp::test {

QApplication& qtApp();

} // namespace lp::test
