#include "qt_app.h"

#include <gtest/gtest.h>

namespace lp::test {

QApplication& qtApp()
{
    if (auto* existing = qobject_cast<QApplication*>(QCoreApplication::instance()))
        return *existing;
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    static int argc = 1;
    static char name[] = "linkport_tests";
    static char* argv[] = {name, nullptr};
    static QApplication* app = new QApplication(argc, argv); // never destroyed: widgets may outlive tests
    return *app;
}

namespace {

class QtAppEnvironment final : public ::testing::Environment {
public:
    void SetUp() override { qtApp(); }
};

[[maybe_unused]] auto* const environment = ::testing::AddGlobalTestEnvironment(new QtAppEnvironment);

} // namespace

} // namespace lp::test
