#pragma once
// An example application as its user meets it: a real window on the virtual display under a
// window manager, driven by real input through xdotool, its hits read at the collector.
#include "LoopbackTest.h"

#include <QGuiApplication>

#include <cstdio>
#include <string>

class ExampleDriver : public LoopbackTest {
protected:
    // Starts the window manager, which ends with the display.
    void SetUp() override;
    // Starts the example in the working directory; its window once it is shown.
    void start(const char *command, const std::string &title);
    // Waits for the next hit and checks its pairs ("key=value; ..."): a key with a dot is
    // context data, "*" any value that is there; none for a step that sends nothing.
    void expectHit(const char *pairs);
    // A click at x, y in the window, then the hit it sends.
    void click(int x, int y, const char *pairs);
    // Minimised for longer than a session timeout of 2 s, then back in front.
    void minimiseAndRestore();
    void screenshot(const char *path);
    // Alt+F4 to the window manager: the example ends with status 0.
    void closeWindow();

    FILE *app = nullptr;
    std::string window;
    size_t received = 0;

private:
    int _argc = 1;
    char _name[11] = "screenshot";
    char *_argv[2] = {_name, nullptr};
    QGuiApplication _screenshots{_argc, _argv};
};

// Runs xdotool; the first line it printed.
std::string xdotool(const std::string &args);
