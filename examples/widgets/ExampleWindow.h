#pragma once
// The example's window: three pages in tabs, each shown page reported as a screen by the
// tracker, buttons reported as actions, and the media player on the second page.
#include <QMainWindow>

#include <functional>

class QPushButton;
class QTabWidget;

class ExampleWindow : public QMainWindow {
public:
    // Made, shown and destroyed on the UI thread; owns its pages and widgets.
    ExampleWindow();

private:
    QWidget *homePage();
    QWidget *accountPage();
    QPushButton *actionButton(const QString &text, std::function<void()> onClick);

    QTabWidget *_tabs;
    int _cartItems = 0;
};
