// The widgets example as its user meets it, in two runs: a real window under Xvfb and a window
// manager, real input (clicks, minimise, restore, Alt+F4), its hits read at the collector.
#include "LoopbackTest.h"

#include <QGuiApplication>
#include <QPixmap>
#include <QProcess>
#include <QScreen>

#include <cstdlib>
#include <thread>

// Runs xdotool; the first line it printed.
static std::string xdotool(const std::string &args) {
    QProcess run;
    run.start("timeout",
              QStringList{"20", "xdotool"} + QProcess::splitCommand(QString::fromStdString(args)));
    run.waitForFinished(30000);
    return run.readLine().trimmed().toStdString();
}

class WidgetsExample : public LoopbackTest {
protected:
    // Starts the example in the working directory; its window once it is shown.
    void start() {
        app = popen(KEO_WIDGETS_EXAMPLE, "w");
        window = xdotool("search --sync --name \"^KEO Widgets Example$\"");
        ASSERT_FALSE(window.empty());
    }
    // Waits for the next hit and checks its pairs ("key=value; ..."): a key with a dot is
    // context data, "*" any value that is there; none for a click that sends nothing.
    void expectHit(const char *pairs) {
        if (pairs == nullptr || HasFailure()) // one missing hit would hold up every later step
            return;
        const std::vector<collector::Hit> hits = waitForHits(++received);
        for (const QString &pair : QString(pairs).split("; ")) {
            SCOPED_TRACE("hit " + std::to_string(received) + ": " + pair.toStdString());
            ASSERT_GE(hits.size(), received);
            const std::string key = pair.section('=', 0, 0).toStdString();
            const std::string value = pair.section('=', 1).toStdString();
            const collector::Hit &hit = hits[received - 1];
            const std::string got =
                key.find('.') != std::string::npos ? ctx(hit, key) : var(hit, key);
            EXPECT_TRUE(value == "*" ? got != "<missing>" : got == value) << got;
        }
    }
    void click(int x, int y, const char *pairs) {
        xdotool("mousemove --window " + window + " " + std::to_string(x) + " " + std::to_string(y) +
                " click 1");
        expectHit(pairs);
    }
    // Alt+F4 to the window manager: the example ends with status 0.
    void closeWindow() {
        xdotool("windowactivate --sync " + window + " key alt+F4");
        EXPECT_EQ(pclose(app), 0);
    }
    FILE *app = nullptr;
    std::string window;
    size_t received = 0;
};

TEST_F(WidgetsExample, TwoRunsDrivenByRealInputArriveAsTheUserActed) {
    configure(true, "\"lifecycleTimeout\": 2");
    dir.writeDescriptor("Widgets Example", "1.0");
    int argc = 1;
    char *argv[] = {const_cast<char *>("screenshot"), nullptr};
    QGuiApplication screenshots(argc, argv);
    std::system("openbox --startup \"touch $PWD/wm-ready\" &"); // ends with the display
    waitFor([&] { return dir.exists("wm-ready"); }, std::chrono::seconds(10));
    start();
    expectHit("pev2=KEOINTERNAL:Lifecycle; a.InstallEvent=InstallEvent; a.Resolution=1024x768");
    expectHit("pageName=Home; example.page.index=1; example.page.visits=1");
    click(80, 56, "pev2=KEOACTION:AddToCart; shop.product=42; shop.cart.items=1");
    click(180, 15, "pageName=Player; example.page.index=2; example.page.visits=1");
    click(226, 93, nullptr); // a seek to 40 %, then Play
    click(80, 56, "pe=m_s; a.media.view=true; a.media.name=Harbour timelapse; a.media.length=8");
    expectHit("a.media.milestone=50; a.media.segment=M:25-50");
    expectHit("a.media.milestone=75; a.media.segment=M:50-75");
    expectHit("a.media.complete=true; a.media.segment=M:75-100; a.media.milestone=<missing>");
    std::this_thread::sleep_for(std::chrono::milliseconds(500)); // the window shows the close
    QGuiApplication::primaryScreen()->grabWindow(std::stoul(window)).save(KEO_SCREENSHOT);
    click(300, 15, "pageName=Account");
    click(80, 56, "pev2=KEOACTION:SignIn; account.method=password; vid=user-7");
    xdotool("windowminimize --sync " + window);
    std::this_thread::sleep_for(std::chrono::milliseconds(3500)); // longer than the session timeout
    xdotool("windowactivate --sync " + window);
    expectHit("pev2=KEOINTERNAL:Lifecycle; a.PrevSessionLength=*; a.CrashEvent=<missing>");
    closeWindow();
    std::this_thread::sleep_for(std::chrono::milliseconds(3500));
    start();
    expectHit("a.LaunchEvent=LaunchEvent; a.PrevSessionLength=*; a.CrashEvent=<missing>");
    expectHit("pageName=Home; example.page.visits=1");
    closeWindow();
    EXPECT_EQ(server.hits().size(), received);
}
