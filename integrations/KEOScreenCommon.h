#pragma once
// What the QML and the Widgets layers share: when screens start to count, and how a caller's
// nested context data becomes the library's flat dotted keys. Private to the layers; the GUI
// thread only.
#include <QGuiApplication>
#include <QHash>
#include <QString>

namespace keo_screen {

// Nothing is seen before the application has first come to the front: the launch the library
// sends at that moment comes before the first screen.
inline bool cameToFront() {
    static bool front = false;
    front = front || QGuiApplication::applicationState() == Qt::ApplicationActive;
    return front;
}

// Adds every leaf below node to flat, keyed by the keys on its way joined by '.'; a later key
// that flattens to the same text replaces the earlier. Tree says, for one kind of value, how a
// node lists its children (key, value) and whether a child is walked into, left out or kept
// as its text.
template <typename Tree, typename Node>
void flattenInto(QHash<QString, QString> &flat, const QString &prefix, const Node &node) {
    Tree::forEachChild(node, [&](const QString &key, const auto &child) {
        if (Tree::isNested(child))
            flattenInto<Tree>(flat, prefix + key + QLatin1Char('.'), child);
        else if (!Tree::isLeftOut(child))
            flat.insert(prefix + key, Tree::text(child));
    });
}

} // namespace keo_screen
