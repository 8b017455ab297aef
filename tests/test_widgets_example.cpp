// The widgets example as its user meets it, in two runs: a real window under Xvfb and a window
// manager, real input (clicks, minimise, restore, Alt+F4), its hits read at the collector.
#include "ExampleDriver.h"

class WidgetsExample : public ExampleDriver {};

TEST_F(WidgetsExample, TwoRunsDrivenByRealInputArriveAsTheUserActed) {
    install(KEO_WIDGETS_EXAMPLE, "KEO Widgets Example");
    expectHit("pageName=Home; example.page.index=1");
    click(80, 56, "pev2=KEOACTION:AddToCart; shop.product=42; shop.cart.items=1");
    click(180, 15, "pageName=Player; example.page.index=2");
    playAndSeek(80, 56, 226, 93);
    screenshot(KEO_SCREENSHOT); // the window shows the close
    click(60, 15, "pageName=Home; example.page.index=1");
    click(300, 15, "pageName=Account; example.page.index=3");
    click(80, 56, "pev2=KEOACTION:SignIn; account.method=password; vid=user-7");
    click(226, 56, "pageName=ConfirmSignOut; vid=user-7");
    settle(); // the question comes to the front, takes the key, then goes
    type("Return", "pev2=KEOACTION:SignOut; vid=user-7");
    settle();
    click(226, 56, "pageName=ConfirmSignOut; vid=<missing>");
    settle();
    type("Escape", nullptr);
    settle();
    restoreCloseAndRunAgain("pageName=Home; example.page.index=1");
}
