#include "ExampleWindow.h"

#include "MediaPanel.h"

#include <KEOMobile.h>
#include <KEOScreenTracker.h>

#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QStatusBar>
#include <QTabWidget>
#include <QVariantMap>
#include <QVBoxLayout>

namespace {

// Fixed sizes keep every control where a user (and the GUI test) expects it, whatever font
// the desktop has.
const QSize kWindowSize(560, 380);
const QSize kButtonSize(140, 34);

// A page: a row of buttons on top, a line of explanation under it.
QWidget *page(const QList<QWidget *> &controls, const QString &text) {
    auto *widget = new QWidget;
    auto *layout = new QVBoxLayout(widget);
    auto *row = new QHBoxLayout;
    for (QWidget *control : controls)
        row->addWidget(control);
    row->addStretch();
    layout->addLayout(row);
    auto *label = new QLabel(text);
    label->setWordWrap(true);
    layout->addWidget(label);
    layout->addStretch();
    return widget;
}

} // namespace

ExampleWindow::ExampleWindow() {
    setWindowTitle(QStringLiteral("KEO Widgets Example"));
    setFixedSize(kWindowSize);

    _tabs = new QTabWidget;
    _tabs->setStyleSheet(QStringLiteral("QTabBar::tab { width: 120px; height: 30px; }"));
    _tabs->addTab(homePage(), QStringLiteral("Home"));
    _tabs->addTab(new MediaPanel(statusBar()), QStringLiteral("Player"));
    _tabs->addTab(accountPage(), QStringLiteral("Account"));
    // Each tab is a screen, named by its text, with the context data of its property; the
    // tracker reports it each time the user comes to it, the first after the launch.
    for (int index = 0; index < _tabs->count(); ++index)
        _tabs->widget(index)->setProperty(
            "keoScreenData", QVariantMap{{QStringLiteral("example.page.index"), index + 1}});
    KEOScreenTracker::watch(_tabs);
    setCentralWidget(_tabs);
    statusBar()->showMessage(QStringLiteral("Media: nothing played yet"));
}

QWidget *ExampleWindow::homePage() {
    QPushButton *add = actionButton(QStringLiteral("Add to cart"), [this] {
        KEOMobile::trackAction(
            QStringLiteral("AddToCart"),
            {{QStringLiteral("shop.product"), QStringLiteral("42")},
             {QStringLiteral("shop.cart.items"), QString::number(++_cartItems)}});
    });
    QPushButton *share = actionButton(QStringLiteral("Share"), [] {
        KEOMobile::trackAction(QStringLiteral("Share"),
                               {{QStringLiteral("share.channel"), QStringLiteral("mail")}});
    });
    return page({add, share}, QStringLiteral("A shop's front page. Each tab is a screen, each "
                                             "button an action; both carry context data."));
}

QWidget *ExampleWindow::accountPage() {
    QPushButton *signIn = actionButton(QStringLiteral("Sign in"), [] {
        // The application's own visitor identifier goes with every later hit, and is kept.
        KEOMobile::setUserIdentifier(QStringLiteral("user-7"));
        KEOMobile::trackAction(QStringLiteral("SignIn"),
                               {{QStringLiteral("account.method"), QStringLiteral("password")}});
    });
    QPushButton *signOut = actionButton(QStringLiteral("Sign out"), [this] {
        // The question is a screen of its own while it is open.
        QMessageBox confirm(QMessageBox::Question, QStringLiteral("Sign out"),
                            QStringLiteral("Sign out of this account?"),
                            QMessageBox::Yes | QMessageBox::No, this);
        confirm.setProperty("keoScreen", QStringLiteral("ConfirmSignOut"));
        KEOScreenTracker::watch(&confirm);
        if (confirm.exec() != QMessageBox::Yes)
            return;
        KEOMobile::trackAction(QStringLiteral("SignOut"), {});
        KEOMobile::setUserIdentifier(QString());
    });
    return page({signIn, signOut}, QStringLiteral("Signing in sets the visitor identifier that "
                                                  "every later hit carries as \"vid\"; signing "
                                                  "out asks first."));
}

QPushButton *ExampleWindow::actionButton(const QString &text, std::function<void()> onClick) {
    auto *button = new QPushButton(text);
    button->setFixedSize(kButtonSize);
    connect(button, &QPushButton::clicked, this, std::move(onClick));
    return button;
}
