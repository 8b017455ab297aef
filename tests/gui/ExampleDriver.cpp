#include "ExampleDriver.h"

#include <QDir>
#include <QFile>
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

void ExampleDriver::SetUp() {
    std::system("openbox --startup \"touch $PWD/wm-ready\" &");
    waitFor([&] { return dir.exists("wm-ready"); }, std::chrono::seconds(10));
}

void ExampleDriver::install(const char *command, const std::string &title) {
    configure(true, "\"lifecycleTimeout\": 2");
    // The example packages its own configuration and names itself: the collector's is given as
    // an administrator's, and its sandbox lies in a fresh home.
    const QString admin = "etc/KEOMobile/" + QString::fromStdString(title);
    QDir().mkpath(dir.file(admin));
    QDir().mkpath(dir.file("home"));
    dir.write(admin + "/KEOMobileConfig.json", dir.read("app/native/KEOMobileConfig.json"));
    setenv("XDG_CONFIG_DIRS", QFile::encodeName(dir.file("etc")).constData(), 1);
    setenv("HOME", QFile::encodeName(dir.file("home")).constData(), 1);
    unsetenv("XDG_DATA_HOME");
    _command = command;
    _title = title;
    start();
    expectHit("pev2=KEOINTERNAL:Lifecycle; a.InstallEvent=InstallEvent; a.Resolution=1024x768");
}

void ExampleDriver::start() {
    _app = popen(_command, "w");
    // Visible only: the hidden leader window that Qt makes bears the application's name too.
    _window = xdotool("search --sync --onlyvisible --name \"^" + _title + "$\"");
    ASSERT_FALSE(_window.empty());
}

void ExampleDriver::expectHit(const char *pairs) {
    if (pairs == nullptr || HasFailure()) // one missing hit would hold up every later step
        return;
    const std::vector<collector::Hit> hits = waitForHits(++_received);
    SCOPED_TRACE("hit " + std::to_string(_received));
    ASSERT_GE(hits.size(), _received);
    expectPairs(hits[_received - 1], pairs);
}

void ExampleDriver::click(int x, int y, const char *pairs) {
    xdotool("mousemove --window " + _window + " " + std::to_string(x) + " " + std::to_string(y) +
            " click 1");
    expectHit(pairs);
}

void ExampleDriver::playAndSeek(int x, int y, int seekX, int seekY) {
    click(x, y, "pe=m_s; a.media.view=true; a.media.name=Harbour timelapse; a.media.length=8");
    click(seekX, seekY,
          "a.media.milestone=25; a.media.segment=M:0-25; a.media.timePlayed=<missing>");
    expectHit("a.media.milestone=50; a.media.segment=M:25-50");
    expectHit("a.media.milestone=75; a.media.segment=M:50-75");
    expectHit("a.media.complete=true; a.media.segment=M:75-100; a.media.milestone=<missing>");
}

void ExampleDriver::type(const char *keys, const char *pairs) {
    xdotool(std::string("key ") + keys);
    expectHit(pairs);
}

void ExampleDriver::settle() {
    std::this_thread::sleep_for(std::chrono::milliseconds(600));
}

void ExampleDriver::restoreCloseAndRunAgain(const char *firstScreen) {
    xdotool("windowminimize --sync " + _window);
    std::this_thread::sleep_for(std::chrono::milliseconds(3500));
    xdotool("windowactivate --sync " + _window);
    expectHit("pev2=KEOINTERNAL:Lifecycle; a.PrevSessionLength=*; a.CrashEvent=<missing>");
    closeWindow();
    std::this_thread::sleep_for(std::chrono::milliseconds(3500));
    start();
    expectHit("a.LaunchEvent=LaunchEvent; a.PrevSessionLength=*; a.CrashEvent=<missing>");
    expectHit(firstScreen);
    closeWindow();
    EXPECT_EQ(server.hits().size(), _received);
}

void ExampleDriver::screenshot(const char *path) {
    std::this_thread::sleep_for(std::chrono::milliseconds(500)); // the window has drawn the step
    QGuiApplication::primaryScreen()->grabWindow(std::stoul(_window)).save(path);
}

void ExampleDriver::closeWindow() {
    xdotool("windowactivate --sync " + _window + " key alt+F4");
    EXPECT_EQ(pclose(_app), 0);
}
