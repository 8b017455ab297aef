// The Qt Quick example as its user meets it, in two runs: a real window under Xvfb and a window
// manager, real input, its hits read at the collector. The example's QML has no trackState: the
// screens come from its StackView, TabBar with StackLayout and Dialog through KEOScreen, and its
// video's reports from a KEOMediaTracker.
#include "ExampleDriver.h"

class QuickExample : public ExampleDriver {};

TEST_F(QuickExample, ScreensComeFromTheNavigationTheUserSeesOncePerAppearance) {
    install(KEO_QUICK_EXAMPLE, "KEO Quick Example");
    expectHit("pageName=Products; shop.list.count=3; news.unread=<missing>");
    click(90, 77, "pageName=Product; shop.product=42");
    settle();
    click(250, 77, "pev2=KEOACTION:AddToCart; shop.product=42; shop.cart.items=1");
    click(90, 77, "pageName=Products; shop.list.count=3; shop.product=<missing>"); // Back
    settle();
    click(180, 20, "pageName=News; news.unread=2; news.pinned=true");
    click(90, 77, "pev2=KEOACTION:Share; share.channel=mail");
    click(300, 20, "pageName=Account; pev2=<missing>");
    click(90, 77, "pev2=KEOACTION:SignIn; account.method=password; vid=user-7");
    click(250, 77, "pageName=ConfirmDelete; vid=user-7");
    screenshot(KEO_SCREENSHOT);
    click(212, 130, "pev2=KEOACTION:KeepAccount");
    settle();
    click(420, 20, "pageName=Watch");
    playAndSeek(90, 77, 140, 130); // the Video's, followed by a KEOMediaTracker
    click(60, 20, "pageName=Products; shop.list.count=3");
    restoreCloseAndRunAgain("pageName=Products; shop.list.count=3");
}
