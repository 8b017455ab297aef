#include "KEOScreen.h"

#include "KEOMobileQuick.h"
#include "KEOScreenCommon.h"

#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickWindow>

namespace {

// Containers that show one of their pages at a time, as Qt Quick Controls name them.
bool showsOnePage(const QQuickItem *item) {
    return item->inherits("QQuickStackView") || item->inherits("QQuickContainer");
}

} // namespace

KEOScreen::KEOScreen(QObject *screen) : QObject(screen) {
    if (qGuiApp != nullptr) // a QML engine without a GUI application shows no screen at all
        connect(qGuiApp, &QGuiApplication::applicationStateChanged, this, &KEOScreen::schedule);
    if (auto *item = qobject_cast<QQuickItem *>(screen)) {
        connect(item, &QQuickItem::visibleChanged, this, &KEOScreen::schedule);
        connect(item, &QQuickItem::parentChanged, this, &KEOScreen::schedule);
        connect(item, &QQuickItem::windowChanged, this, &KEOScreen::followWindow);
        followWindow();
    } else if (screen->metaObject()->indexOfSignal("visibleChanged()") >= 0) {
        // A Popup, Dialog or Drawer: seen while open. It is no item, so its signal is by name.
        connect(screen, SIGNAL(visibleChanged()), this, SLOT(schedule()));
    }
    schedule();
}

KEOScreen *KEOScreen::qmlAttachedProperties(QObject *object) {
    return new KEOScreen(object);
}

void KEOScreen::setName(const QString &name) {
    if (name != _name) {
        _name = name;
        emit nameChanged();
    }
}

void KEOScreen::setData(const QJSValue &data) {
    _data = data;
    emit dataChanged();
}

void KEOScreen::setEnabled(bool enabled) {
    if (enabled != _enabled) {
        _enabled = enabled;
        emit enabledChanged();
    }
}

void KEOScreen::followWindow() {
    disconnect(_window);
    if (QQuickWindow *window = qobject_cast<QQuickItem *>(parent())->window())
        _window = connect(window, &QWindow::visibleChanged, this, &KEOScreen::schedule);
    schedule();
}

void KEOScreen::schedule() {
    if (!_scheduled) {
        _scheduled = true;
        QMetaObject::invokeMethod(this, &KEOScreen::settle, Qt::QueuedConnection);
    }
}

void KEOScreen::settle() {
    _scheduled = false;
    const bool wasSeen = _seen;
    _seen = seen();
    if (_seen && !wasSeen && _enabled && !_name.isEmpty())
        KEOMobile::trackState(_name, KEOMobileQuick::contextData(_data));
}

bool KEOScreen::seen() {
    if (!keo_screen::cameToFront())
        return false;
    auto *item = qobject_cast<QQuickItem *>(parent());
    if (item == nullptr)
        return parent()->property("visible").toBool();
    if (!item->isVisible() || item->window() == nullptr || !item->window()->isVisible())
        return false;
    // Every StackView and SwipeView (or other Container) above the item must show the page
    // that holds it; pages kept beside the current one are visible but not seen.
    for (QQuickItem *up = item->parentItem(); up != nullptr; up = up->parentItem()) {
        if (!showsOnePage(up))
            continue;
        connect(up, SIGNAL(currentItemChanged()), this, SLOT(schedule()), Qt::UniqueConnection);
        auto *current = up->property("currentItem").value<QQuickItem *>();
        if (current == nullptr || (current != item && !current->isAncestorOf(item)))
            return false;
    }
    return true;
}
