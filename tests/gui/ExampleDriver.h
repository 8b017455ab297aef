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
    // The first run: a configuration with a session timeout of 2 s for the example named title
    // (organisation KEOMobile), the example started in a fresh home, its install launch checked.
    void install(const char *command, const std::string &title);
    // The rest of the first run: minimised for longer than the session timeout and restored (a
    // new launch), closed; then a second run, whose launch reports no crash and whose first
    // screen has these pairs, closed again. No other hit came.
    void restoreCloseAndRunAgain(const char *firstScreen);
    // Waits for the next hit and checks its pairs, as expectPairs(); none for a step that sends
    // nothing.
    void expectHit(const char *pairs);
    // A click at x, y in the window, then the hit it sends.
    void click(int x, int y, const char *pairs);
    // Play clicked at x, y, then a seek clicked 40 % into the example's clip (8 s, made by the
    // build): the view, the 25 % milestone at the landing with no time played, 50 and 75 %, the
    // complete close at the end.
    void playAndSeek(int x, int y, int seekX, int seekY);
    // Keys typed into the focused window, then the hit they send.
    void type(const char *keys, const char *pairs);
    // Waits for what the last step set moving to come to rest (a page sliding in, a dialog
    // going away), which takes no input until then.
    void settle();
    // The window as it stands, saved as a PNG.
    void screenshot(const char *path);

private:
    void start();
    // Alt+F4 to the window manager: the example ends with status 0.
    void closeWindow();

    const char *_command = nullptr;
    std::string _title;
    FILE *_app = nullptr;
    std::string _window;
    size_t _received = 0;
    int _argc = 1;
    char _name[11] = "screenshot";
    char *_argv[2] = {_name, nullptr};
    QGuiApplication _screenshots{_argc, _argv};
};
