// Which class serves which screen key. Later screens replace their
// placeholder line here.
#include "adaptertest/frmLPTest.h"
#include "flash/frmFlash.h"
#include "settings/frmPreferences.h"
#include "info/frmConnectingDialog.h"
#include "info/frmVersion.h"
#include "shell/frmParent.h"
#include "shell/qt/child_screen.h"
#include "shell/qt/placeholder_screens.h"
#include "shell/startup.h"
#include "shell/string_table.h"

namespace lp {

ScreenFactory defaultScreenFactory()
{
    ScreenFactory f;
    f.children[ScreenKey::Summary] = [](Context& ctx, frmParent& main) -> ChildScreen* {
        return new frmVersion(ctx, main);
    };
    f.unloadConnectingDialog = [](Context& ctx) { frmConnectingDialog::UnloadAll(ctx); };
    f.children[ScreenKey::ApplicationFlash] = [](Context& ctx, frmParent& main) -> ChildScreen* {
        return new frmFlash(ctx, main);
    };
    f.children[ScreenKey::LPTest] = [](Context& ctx, frmParent& main) -> ChildScreen* {
        return new frmLPTest(ctx, main);
    };
    f.preferences = [](Context& ctx, frmParent& main) -> int { return frmPreferences::ShowPreferences(ctx, main); };
    return f;
}

} // namespace lp
