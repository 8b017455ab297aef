#pragma once
// The attached type KEOScreen: an item (or a Popup, Dialog or Drawer) that names a screen is
// reported with one trackState each time it becomes what the user sees.
#include <QJSValue>
#include <QObject>
#include <QString>
#include <QtQml>

class KEOScreen : public QObject {
    Q_OBJECT
    /// The screen's name; an item without one is never reported.
    Q_PROPERTY(QString name READ name WRITE setName NOTIFY nameChanged)
    /// Context data as KEOMobile.trackState takes it, read at each appearance.
    Q_PROPERTY(QJSValue data READ data WRITE setData NOTIFY dataChanged)
    /// False keeps the item from being reported; true by default.
    Q_PROPERTY(bool enabled READ enabled WRITE setEnabled NOTIFY enabledChanged)

public:
    /// Made by the QML engine when KEOScreen is first used on screen, which owns it; lives on
    /// the GUI thread, where every call and report happens.
    explicit KEOScreen(QObject *screen);
    /// The engine's hook for the attached properties. GUI thread.
    static KEOScreen *qmlAttachedProperties(QObject *object);

    /// The properties' accessors, for the engine on the GUI thread. A change waits for the
    /// next appearance: nothing is sent for it while the screen stays in view.
    QString name() const { return _name; }
    void setName(const QString &name);
    QJSValue data() const { return _data; }
    void setData(const QJSValue &data);
    bool enabled() const { return _enabled; }
    void setEnabled(bool enabled);

Q_SIGNALS:
    /// Emitted on the GUI thread when the property changed.
    void nameChanged();
    void dataChanged();
    void enabledChanged();

private Q_SLOTS:
    // Something that decides whether the screen is seen has changed: look once the current
    // event is over, when containers have settled (a Loader's new tree, a StackLayout's pages).
    void schedule();
    void settle();
    void followWindow();

private:
    bool seen();

    QString _name;
    QJSValue _data;
    bool _enabled = true;
    bool _scheduled = false;
    bool _seen = false;
    QMetaObject::Connection _window;
};

QML_DECLARE_TYPEINFO(KEOScreen, QML_HAS_ATTACHED_PROPERTIES)
