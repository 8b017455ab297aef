#pragma once
/// \file
/// Screens of a Qt Widgets application reported from its containers: one call per container,
/// and each page the user comes to is sent with KEOMobile::trackState.
#include <QObject>

class QDialog;
class QStackedWidget;
class QTabWidget;

/// Reports the page a watched container shows each time it becomes what the user sees: a tab
/// or a stacked page as it becomes current, or as its container comes back into view; a dialog
/// as it opens. Nothing is reported before the application first came to the front, so that
/// the launch comes first, and a minimised window coming back is no new appearance.
///
/// A page's screen name is its dynamic property "keoScreen", else for a tab the tab's text; a
/// page with neither is not reported. Its context data is the property "keoScreenData", a
/// QVariantMap with dotted keys and values as QVariant::toString() writes them (nested maps
/// add their keys after a dot), read at each appearance.
class KEOScreenTracker {
public:
    /// Starts watching the container, which keeps ownership: the watch is a child of it and
    /// ends with it. Watching it again changes nothing. GUI thread.
    static void watch(QTabWidget *tabs);
    /// As watch(QTabWidget *), for the current widget of a stack.
    static void watch(QStackedWidget *stack);
    /// As watch(QTabWidget *); the dialog itself is the page, reported as it shows.
    static void watch(QDialog *dialog);
    /// Any of the above, recognised at run time; other objects are left alone. GUI thread.
    static void watch(QObject *container);
};
