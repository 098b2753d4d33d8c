// The connecting dialog on the virtual clock: its dots, its Cancel and when
// it goes away.
#include <gtest/gtest.h>

#include <QLabel>
#include <QPointer>
#include <QPushButton>

#include "ui/dialogs/frmConnectingDialog.h"
#include "modal.h"
#include "support/test_context.h"

using namespace lp;

TEST(ConnectingDialog, DotsGrowEveryHalfSecondAndStartOverEveryTwo)
{
    test::TestContext t;
    QWidget owner;
    QPointer<frmConnectingDialog> d = frmConnectingDialog::Load(t.ctx, &owner);
    d->show();
    EXPECT_EQ(d->windowTitle(), "Please Wait...");
    EXPECT_EQ(d->Label1()->text(), "Searching");
    EXPECT_EQ(d->cmdCancel()->text(), "&Cancel");
    EXPECT_TRUE(d->cmdCancel()->isHidden()) << "no wireless adapter: nothing to cancel";
    EXPECT_FALSE(d->findChild<QLabel*>("Picture1")->pixmap().isNull());

    // Dots as they stand just before and at each tick, in ms from load.
    const std::pair<double, const char*> expected[] = {
        {0, "..."},   {499, "..."},   {500, "...."}, {1500, "......"}, {1999, "......"},
        {2000, ".."}, {2500, "..."},  {3500, "....."}, {4000, ".."},   {4500, "..."},
    };
    double now = 0;
    for (const auto& [at, dots] : expected) {
        t.clock.runFor(at - now);
        now = at;
        EXPECT_EQ(d->lblDotDotDot()->text(), dots) << "at " << at << " ms";
    }
    // The main tick puts the dots at the right edge of "Searching".
    EXPECT_EQ(d->lblDotDotDot()->x(), d->Label1()->x() + d->Label1()->width());

    // The main window's start-up clears any connecting dialog left over.
    frmConnectingDialog::UnloadAll(t.ctx);
    test::flushPosted();
    EXPECT_TRUE(d.isNull());
}

TEST(ConnectingDialog, CancelSetsTheFlagAtOnceAndTheDialogGoesAtTheNextDotTick)
{
    test::TestContext t;
    t.ctx.g_blnWLPSelected = true;
    t.ctx.cancelConnection = true; // left over from an earlier wait
    QWidget owner;
    QPointer<frmConnectingDialog> d = frmConnectingDialog::Load(t.ctx, &owner);
    d->show();
    EXPECT_FALSE(t.ctx.cancelConnection) << "cleared on load";
    ASSERT_FALSE(d->cmdCancel()->isHidden());

    t.clock.runFor(1100);
    d->cmdCancel()->click();
    EXPECT_TRUE(t.ctx.cancelConnection);
    t.clock.runFor(399);
    ASSERT_FALSE(d.isNull());
    EXPECT_TRUE(d->isVisible()) << "still up until the dot tick at 1500 ms";
    t.clock.runFor(1);
    test::flushPosted();
    EXPECT_TRUE(d.isNull());
    EXPECT_TRUE(t.ctx.cancelConnection) << "the flag outlives the dialog";

    // The window's close button is Cancel too; without Cancel it does nothing.
    QPointer<frmConnectingDialog> again = frmConnectingDialog::Load(t.ctx, &owner);
    again->show();
    again->close();
    EXPECT_TRUE(again->isVisible());
    EXPECT_TRUE(t.ctx.cancelConnection);
    t.ctx.g_blnWLPSelected = false;
    QPointer<frmConnectingDialog> plain = frmConnectingDialog::Load(t.ctx, &owner);
    plain->show();
    plain->close();
    t.clock.runFor(600);
    EXPECT_FALSE(t.ctx.cancelConnection);
    EXPECT_TRUE(plain->isVisible());
    frmConnectingDialog::Unload(plain);
    test::flushPosted();
    EXPECT_TRUE(plain.isNull());
}
