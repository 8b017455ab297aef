#pragma once
/// \file
/// A Qt Multimedia player measured with no code of the application's own: the tracker follows
/// the player's state, position, duration, status and source, and turns each change into the
/// KEOMediaAnalytics report that says it, in the order the reports need.
#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>
#include <QUrl>
#include <QVariant>

#include <utility>

/// Follows one player: a QMediaPlayer in C++, or a MediaPlayer, Audio or Video in QML. The
/// player's signals and properties are reached by name at run time, by their Qt 6 names and
/// their Qt 5 ones (playbackState or state, position, duration, mediaStatus or status, source or
/// media, error, errorOccurred), so that this archive links Qt Core only, builds for either, and
/// every kind of player takes the same path. What it reports:
///
/// | The player                                  | The reports                                  |
/// |---------------------------------------------|----------------------------------------------|
/// | starts playing an item for the first time   | open (its length, or -1), play at position   |
/// | starts or resumes playing                   | play at the position                         |
/// | pauses or stops                             | stop at the position                         |
/// | jumps while playing                         | stop where it was, play where it lands       |
/// | jumps while paused                          | nothing; the play at resume has the position |
/// | says it plays, its position still for 2 s   | stop where it last was; play once it moves   |
/// | reaches the end                             | stop at the end, close                       |
/// | tells its end over 2 s short of reaching it | stop where it got to, close (no complete)    |
/// | changes source, fails, or is destroyed      | close                                        |
///
/// A jump is a change of position that playing cannot explain: more than the time since the
/// position last moved plus one second, so that positions told late, in bunches or not at all
/// for a while are no jump. A player that says it plays is believed while its position moves:
/// one whose position has stayed put for the stall time (2 s) is stopped where it last was, as if
/// paused, so that the library's monitor counts a stall only until it is found, not for as long
/// as it lasts. A play after the end opens the item again, as a new view, from the first position
/// the player tells that is not where the item ended.
///
/// The tracker and its player live on one thread, which makes every report, one at a time, from
/// its event loop as soon as the player has told a change (so that thread needs an event loop).
/// Milestones, segments and periodic hits come from the library's monitor, with the settings of
/// KEOMediaAnalytics::sharedInstance().
class KEOMediaTracker : public QObject {
    Q_OBJECT
    /// The player followed, or null. The tracker never owns it; it lets go when it is destroyed.
    Q_PROPERTY(QObject *player READ player WRITE setPlayer NOTIFY playerChanged)
    /// The media name of the reports; empty (the default) for the file name of the source.
    Q_PROPERTY(QString name READ name WRITE setName NOTIFY itemChanged)
    /// The player's name in the reports; empty for the library's own default.
    Q_PROPERTY(QString playerName READ playerName WRITE setPlayerName NOTIFY itemChanged)
    /// The player's identifier: opening an item closes every other item open under it.
    Q_PROPERTY(QString playerID READ playerID WRITE setPlayerID NOTIFY itemChanged)
    /// The player plays an ad inside parentName: the item is opened with openAd().
    Q_PROPERTY(bool ad READ ad WRITE setAd NOTIFY itemChanged)
    Q_PROPERTY(QString parentName READ parentName WRITE setParentName NOTIFY itemChanged)
    Q_PROPERTY(QString parentPod READ parentPod WRITE setParentPod NOTIFY itemChanged)
    Q_PROPERTY(double parentPodPosition READ parentPodPosition WRITE setParentPodPosition NOTIFY
                   itemChanged)
    Q_PROPERTY(QString CPM READ CPM WRITE setCPM NOTIFY itemChanged)

public:
    /// Follows player (null for none yet: QML sets the property). The parent owns the tracker,
    /// as for any QObject. Make it on the player's thread.
    explicit KEOMediaTracker(QObject *player = nullptr, QObject *parent = nullptr);
    /// Follows a Qt 5 QMediaPlayer: as above, and the default name is the file name of its
    /// media, which only the application's build, linked to Qt Multimedia, can read. Qt 6's
    /// gives its source as a property.
    template <typename Player,
              typename = decltype(std::declval<Player &>().media().request().url())>
    explicit KEOMediaTracker(Player *player, QObject *parent = nullptr)
        : KEOMediaTracker(nullptr, parent) {
        _sourceOf = [](QObject *object) {
            Player *typed = qobject_cast<Player *>(object);
            return typed != nullptr ? typed->media().request().url() : QUrl();
        };
        setPlayer(player);
    }
    /// Closes the item that is open. On the player's thread.
    ~KEOMediaTracker() override;

    /// The properties above: read and written on the tracker's thread. A new player closes the
    /// open item of the old one; the item's description is read at the next open.
    QObject *player() const { return _player; }
    void setPlayer(QObject *player);
    QString name() const { return _name; }
    void setName(const QString &name) { _name = name, emit itemChanged(); }
    QString playerName() const { return _playerName; }
    void setPlayerName(const QString &name) { _playerName = name, emit itemChanged(); }
    QString playerID() const { return _playerID; }
    void setPlayerID(const QString &id) { _playerID = id, emit itemChanged(); }
    bool ad() const { return _ad; }
    void setAd(bool ad) { _ad = ad, emit itemChanged(); }
    QString parentName() const { return _parentName; }
    void setParentName(const QString &name) { _parentName = name, emit itemChanged(); }
    QString parentPod() const { return _parentPod; }
    void setParentPod(const QString &pod) { _parentPod = pod, emit itemChanged(); }
    double parentPodPosition() const { return _parentPodPosition; }
    void setParentPodPosition(double at) { _parentPodPosition = at, emit itemChanged(); }
    QString CPM() const { return _CPM; }
    void setCPM(const QString &cpm) { _CPM = cpm, emit itemChanged(); }

Q_SIGNALS:
    /// Emitted on the tracker's thread when the property changes.
    void playerChanged();
    void itemChanged();

private Q_SLOTS:
    // The player changed its source, state, position, duration or status. A player tells one
    // change in several signals (a stop as position 0, then the state; a new source as position
    // 0, the state, then the source): they are looked at together, once it has told them all.
    void changed();
    void follow();
    // The player reported an error, or its error property changed.
    void failed();
    // The player is going: its properties can no longer be read.
    void playerDestroyed();
    // The item has played for the stall time since its position last moved, by the clock.
    void watch();

private:
    static bool hasProperty(const QObject *object, const char *name);
    // The property by its Qt 6 name, else by its Qt 5 one.
    QVariant read(const char *name, const char *orName = nullptr) const;
    // The media status in Qt 5's numbering, whichever Qt the player is of.
    int status() const;
    QString itemName() const;
    void closeItem();

    QPointer<QObject> _player;
    QPointer<QObject> _media; // what tells the player's state: the player, or its inner one
    QVariant _source;         // the player's source, compared as a whole
    bool _stale = false;      // the source changed, and the player has yet to start loading it
    bool _pending = false;    // a look at the player is queued
    QUrl (*_sourceOf)(QObject *) = nullptr;
    QString _name, _playerName, _playerID, _parentName, _parentPod, _CPM;
    bool _ad = false;
    double _parentPodPosition = 0.0;

    QString _open;          // the item open in the library, empty for none
    bool _playing = false;  // its last report was a play
    bool _stalled = false;  // it was stopped as stalled, and its position has not moved since
    QTimer _watchdog{this}; // runs while the item plays, to find it stalled
    double _length = -1.0;
    double _position = 0.0; // seconds, as the player last told it
    QElapsedTimer _since;   // since that position moved, or the item started or stopped playing
    double _endedAt = -1.0; // where the player stood when its item last reached the end
};
