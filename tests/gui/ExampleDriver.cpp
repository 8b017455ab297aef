#include "ExampleDriver.h"

#include <QPixmap>
#include <QProcess>
#include <QScreen>

#include <cstdlib>
#include <thread>

std::string xdotool(const std::string &args) {
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

void ExampleDriver::start(const char *command, const std::string &title) {
    app = popen(command, "w");
    window = xdotool("search --sync --name \"^" + title + "$\"");
    ASSERT_FALSE(window.empty());
}

void ExampleDriver::expectHit(const char *pairs) {
    if (pairs == nullptr || HasFailure()) // one missing hit would hold up every later step
        return;
    const std::vector<collector::Hit> hits = waitForHits(++received);
    for (const QString &pair : QString(pairs).split("; ")) {
        SCOPED_TRACE("hit " + std::to_string(received) + ": " + pair.toStdString());
        ASSERT_GE(hits.size(), received);
        const std::string key = pair.section('=', 0, 0).toStdString();
        const std::string value = pair.section('=', 1).toStdString();
        const collector::Hit &hit = hits[received - 1];
        const std::string got = key.find('.') != std::string::npos ? ctx(hit, key) : var(hit, key);
        EXPECT_TRUE(value == "*" ? got != "<missing>" : got == value) << got;
    }
}

void ExampleDriver::click(int x, int y, const char *pairs) {
    xdotool("mousemove --window " + window + " " + std::to_string(x) + " " + std::to_string(y) +
            " click 1");
    expectHit(pairs);
}

void ExampleDriver::minimiseAndRestore() {
    xdotool("windowminimize --sync " + window);
    std::this_thread::sleep_for(std::chrono::milliseconds(3500));
    xdotool("windowactivate --sync " + window);
}

void ExampleDriver::screenshot(const char *path) {
    std::this_thread::sleep_for(std::chrono::milliseconds(500)); // the window has drawn the step
    QGuiApplication::primaryScreen()->grabWindow(std::stoul(window)).save(path);
}

void ExampleDriver::closeWindow() {
    xdotool("windowactivate --sync " + window + " key alt+F4");
    EXPECT_EQ(pclose(app), 0);
}
