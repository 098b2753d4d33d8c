// Which class serves which screen key.
#include "ui/screens/frmLPTest.h"
#include "ui/screens/frmFlash.h"
#include "ui/screens/frmPreferences.h"
#include "ui/dialogs/frmConnectingDialog.h"
#include "ui/screens/frmVersion.h"
#include "ui/main_window.h"
#include "ui/child_screen.h"
#include "operations/startup.h"
#include "core/string_table.h"

namespace lp {

ScreenFactory defaultScreenFactory()
{
    ScreenFactory f;
    f.children[ScreenKey::Summary] = [](Context& ctx, MainWindow& main) -> ChildScreen* {
        return new frmVersion(ctx, main);
    };
    f.unloadConnectingDialog = [](Context& ctx) { frmConnectingDialog::UnloadAll(ctx); };
    f.children[ScreenKey::ApplicationFlash] = [](Context& ctx, MainWindow& main) -> ChildScreen* {
        return new frmFlash(ctx, main);
    };
    f.children[ScreenKey::LPTest] = [](Context& ctx, MainWindow& main) -> ChildScreen* {
        return new frmLPTest(ctx, main);
    };
    f.preferences = [](Context& ctx, MainWindow& main) -> int { return frmPreferences::ShowPreferences(ctx, main); };
    return f;
}

} // namespace lp
