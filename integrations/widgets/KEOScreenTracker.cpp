#include "KEOScreenTracker.h"

#include "KEOScreenCommon.h"

#include <KEOMobile.h>

#include <QApplication>
#include <QDialog>
#include <QEvent>
#include <QStackedWidget>
#include <QTabWidget>

#include <functional>

namespace {

// Maps of variants: nested maps are walked into, null values left out.
struct VariantTree {
    template <typename Visit> static void forEachChild(const QVariant &node, Visit visit) {
        const QVariantMap map = node.toMap();
        for (auto it = map.begin(); it != map.end(); ++it)
            visit(it.key(), it.value());
    }
    static bool isNested(const QVariant &value) {
        return value.userType() == QMetaType::QVariantMap;
    }
    static bool isLeftOut(const QVariant &value) { return value.isNull(); }
    static QString text(const QVariant &value) { return value.toString(); }
};

// The watch of one container: the page it shows while the user sees it, reported as it
// changes. A child of the container, on its thread.
class ScreenWatch : public QObject {
public:
    ScreenWatch(QWidget *container, std::function<QWidget *()> current,
                std::function<QString(QWidget *)> fallbackName = {})
        : QObject(container), _container(container), _current(std::move(current)),
          _fallbackName(std::move(fallbackName)) {
        setObjectName(QStringLiteral("KEOScreenWatch"));
        container->installEventFilter(this);
        connect(qApp, &QGuiApplication::applicationStateChanged, this, &ScreenWatch::schedule);
        schedule();
    }

    void schedule() { QMetaObject::invokeMethod(this, &ScreenWatch::settle, Qt::QueuedConnection); }

protected:
    bool eventFilter(QObject *, QEvent *event) override {
        if (event->type() == QEvent::Show || event->type() == QEvent::Hide)
            schedule();
        return false;
    }

private:
    void settle() {
        QWidget *seen = keo_screen::cameToFront() && _container->isVisible() ? _current() : nullptr;
        if (seen != nullptr && seen != _seen) {
            QString name = seen->property("keoScreen").toString();
            if (name.isEmpty() && _fallbackName)
                name = _fallbackName(seen);
            QHash<QString, QString> data;
            keo_screen::flattenInto<VariantTree>(data, QString(), seen->property("keoScreenData"));
            if (!name.isEmpty())
                KEOMobile::trackState(name, data);
        }
        _seen = seen;
    }

    QWidget *_container;
    std::function<QWidget *()> _current;
    std::function<QString(QWidget *)> _fallbackName;
    QWidget *_seen = nullptr;
};

bool watched(QWidget *container) {
    return container->findChild<ScreenWatch *>(QStringLiteral("KEOScreenWatch"),
                                               Qt::FindDirectChildrenOnly) != nullptr;
}

} // namespace

void KEOScreenTracker::watch(QTabWidget *tabs) {
    if (watched(tabs))
        return;
    auto *watch = new ScreenWatch(
        tabs, [tabs] { return tabs->currentWidget(); },
        [tabs](QWidget *page) { return tabs->tabText(tabs->indexOf(page)); });
    QObject::connect(tabs, &QTabWidget::currentChanged, watch, &ScreenWatch::schedule);
}

void KEOScreenTracker::watch(QStackedWidget *stack) {
    if (watched(stack))
        return;
    auto *watch = new ScreenWatch(stack, [stack] { return stack->currentWidget(); });
    QObject::connect(stack, &QStackedWidget::currentChanged, watch, &ScreenWatch::schedule);
}

void KEOScreenTracker::watch(QDialog *dialog) {
    if (!watched(dialog))
        new ScreenWatch(dialog, [dialog] { return dialog; });
}

void KEOScreenTracker::watch(QObject *container) {
    if (auto *tabs = qobject_cast<QTabWidget *>(container))
        watch(tabs);
    else if (auto *stack = qobject_cast<QStackedWidget *>(container))
        watch(stack);
    else if (auto *dialog = qobject_cast<QDialog *>(container))
        watch(dialog);
}
