#include "KEOMediaTracker.h"

#include <KEOMediaAnalytics.h>

#include <QMetaMethod>
#include <QMetaProperty>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace {

// The play state: the same values in Qt 5 and Qt 6.
enum { Stopped = 0, Playing = 1 };
// The media status in Qt 5's numbering, which the rules below are written in. Qt 6 has no
// unknown status and numbers the others one lower, and the players name them differently
// (LoadedMedia, Loaded), so a status is taken by its name where the player gives one.
enum { Loaded = 3, Buffered = 6, EndOfMedia = 7, InvalidMedia = 8 };
// How long a player that says it plays may keep its position before it is taken as stalled
// (Qt 6.4's GStreamer players can say so and sit at their start for over 20 s), in ms: twice the
// second between the positions that Qt 5's players tell, a busy machine telling them late.
constexpr int stallTime = 2000;

int statusByName(QByteArray name) {
    static const char *const names[] = {"Unknown",   "No",       "Loading", "Loaded", "Stalled",
                                        "Buffering", "Buffered", "EndOf",   "Invalid"};
    name.replace("Media", "").replace("Status", "");
    for (int status = 0; status < int(std::size(names)); ++status)
        if (name == names[status])
            return status;
    return 0;
}

KEOMediaAnalytics *media() {
    return KEOMediaAnalytics::sharedInstance();
}

} // namespace

KEOMediaTracker::KEOMediaTracker(QObject *player, QObject *parent) : QObject(parent) {
    _since.start();
    _watchdog.setSingleShot(true);
    connect(&_watchdog, &QTimer::timeout, this, &KEOMediaTracker::watch);
    setPlayer(player);
}

KEOMediaTracker::~KEOMediaTracker() {
    closeItem();
}

void KEOMediaTracker::setPlayer(QObject *player) {
    if (player == _player)
        return;
    closeItem();
    if (_player)
        disconnect(_player, nullptr, this, nullptr);
    if (_media)
        disconnect(_media, nullptr, this, nullptr);
    _player = _media = player;
    _source = QVariant(); // the new player's source is no change
    if (player != nullptr) {
        // Qt 6's Video tells no media status: the MediaPlayer inside it is followed instead.
        if (!hasProperty(player, "mediaStatus") && !hasProperty(player, "status"))
            for (QObject *inside : player->findChildren<QObject *>())
                if (hasProperty(inside, "mediaStatus")) {
                    _media = inside;
                    break;
                }
        const QMetaObject *from = _media->metaObject(), *to = metaObject();
        const auto link = [&](const QMetaMethod &signal, const char *slot) {
            connect(_media, signal, this, to->method(to->indexOfSlot(slot)), Qt::DirectConnection);
        };
        const auto onChange = [&](const char *property, const char *slot) {
            const int index = from->indexOfProperty(property);
            if (index >= 0 && from->property(index).hasNotifySignal())
                link(from->property(index).notifySignal(), slot);
        };
        // Each property by its Qt 6 name and its Qt 5 one.
        for (const char *property : {"playbackState", "state", "position", "duration", "status",
                                     "mediaStatus", "media", "source"})
            onChange(property, "changed()");
        onChange("error", "failed()");
        for (int i = 0; i < from->methodCount(); ++i)
            if (from->method(i).methodType() == QMetaMethod::Signal &&
                (from->method(i).name() == "errorOccurred" || from->method(i).name() == "error"))
                link(from->method(i), "failed()");
        connect(player, &QObject::destroyed, this, &KEOMediaTracker::playerDestroyed,
                Qt::DirectConnection);
    }
    emit playerChanged();
    follow();
}

bool KEOMediaTracker::hasProperty(const QObject *object, const char *name) {
    return object->metaObject()->indexOfProperty(name) >= 0;
}

QVariant KEOMediaTracker::read(const char *name, const char *orName) const {
    const QVariant value = _media->property(name);
    return value.isValid() || orName == nullptr ? value : _media->property(orName);
}

int KEOMediaTracker::status() const {
    const QMetaObject *from = _media->metaObject();
    int index = from->indexOfProperty("mediaStatus");
    if (index < 0 && (index = from->indexOfProperty("status")) < 0)
        return 0;
    const QMetaProperty property = from->property(index);
    const int value = property.read(_media).toInt();
    if (property.isEnumType())
        return statusByName(property.enumerator().valueToKey(value));
    // A plain number, as a QML alias gives it: in the numbering of the Qt this runs on.
    return QT_VERSION_MAJOR >= 6 ? value + 1 : value;
}

QString KEOMediaTracker::itemName() const {
    if (!_name.isEmpty())
        return _name;
    const QUrl source = _sourceOf != nullptr ? _sourceOf(_player) : read("source").toUrl();
    return source.fileName().isEmpty() ? source.toString() : source.fileName();
}

void KEOMediaTracker::changed() {
    if (!_pending)
        QMetaObject::invokeMethod(this, &KEOMediaTracker::follow, Qt::QueuedConnection);
    _pending = true;
}

void KEOMediaTracker::follow() {
    _pending = false;
    if (!_player || !_media)
        return;
    // A new source ends the item, before anything the player tells of the new one; what the
    // player says of its status and length is the old source's until it starts loading.
    const QVariant source = read("media", "source");
    if (source != _source) {
        closeItem();
        _stale = _source.isValid();
        _source = source;
        _endedAt = -1.0;
    }
    const int state = read("playbackState", "state").toInt();
    const int status = this->status();
    const double position = read("position").toDouble() / 1000.0;
    // Counted from the last position that moved: a busy player tells its position late, bunched
    // or not at all, and may repeat an old one in between; what it played meanwhile is no jump.
    const double elapsed = _since.elapsed() / 1000.0;
    // Where playing would have taken the item since the last change: a stopped player has
    // already gone back to the start, and a jump is measured from here.
    double expected = _position + (_playing ? elapsed : 0.0);
    if (_length > 0)
        expected = std::min(expected, _length);
    _stale = _stale && status >= Loaded;
    // A player stopped as stalled is believed again once its position moves.
    _stalled = _stalled && state == Playing && position == _position;
    // Played again after the end, a player may say it plays before it tells that it has gone
    // back: where the item ended is where nothing starts.
    const bool leftEnd = _playing || _endedAt <= 0 || position < _endedAt;
    const bool playing = state == Playing && !_stale && !_stalled && status >= Loaded &&
                         status <= Buffered && leftEnd;
    const bool wasPlaying = _playing;

    if (status == EndOfMedia || status == InvalidMedia) {
        // The end of the item once it is near, as the player may have gone back to its start by
        // the time it tells the end; an end told far short of where playing could have taken the
        // item (a player that ends as it starts) is a stop where it got to, no complete.
        const bool nearEnd = std::max(expected, position) >= _length - stallTime / 1000.0;
        if (_playing)
            media()->stop(_open,
                          status == EndOfMedia && _length > 0 && nearEnd ? _length : expected);
        if (!_open.isEmpty() || status != EndOfMedia)
            _endedAt = status == EndOfMedia ? position : -1.0;
        closeItem();
    } else if (_playing && !playing) {
        media()->stop(_open, state == Stopped ? expected : position);
        _playing = false;
    } else if (_playing && std::abs(position - _position) > elapsed + 1.0) {
        media()->stop(_open, expected);
        media()->play(_open, position);
    } else if (!_playing && playing) {
        if (_open.isEmpty()) {
            const double duration = read("duration").toDouble() / 1000.0;
            _open = itemName();
            _length = duration > 0 ? duration : -1.0;
            if (_ad)
                media()->openAd(_open, _length, _playerName, _parentName, _parentPod,
                                _parentPodPosition, _CPM);
            else
                media()->open(_open, _length, _playerName, _playerID);
        }
        media()->play(_open, position);
        _playing = true;
        _endedAt = -1.0;
    }
    if (position != _position || _playing != wasPlaying)
        _since.restart();
    _position = position;
    // Armed once per stall time while playing, not at every position: watch() looks at the clock.
    if (!_playing)
        _watchdog.stop();
    else if (!_watchdog.isActive())
        _watchdog.start(stallTime);
}

void KEOMediaTracker::watch() {
    follow(); // what the player has told and not yet been looked at comes first
    const qint64 still = _since.elapsed();
    if (!_playing || still < stallTime) {
        if (_playing)
            _watchdog.start(int(stallTime - still));
        return;
    }
    _watchdog.stop();
    media()->stop(_open, _position);
    _playing = false, _stalled = true;
    _since.restart();
}

void KEOMediaTracker::failed() {
    if (!_player || !_media)
        return;
    const QVariant error = _media->property("error"); // Qt 5's QMediaPlayer: a text
    if (error.userType() == QMetaType::QString ? !error.toString().isEmpty() : error.toInt() != 0)
        closeItem();
}

void KEOMediaTracker::playerDestroyed() {
    closeItem();
    _player = _media = nullptr;
    emit playerChanged();
}

void KEOMediaTracker::closeItem() {
    if (!_open.isEmpty())
        media()->close(_open);
    _open.clear();
    _playing = _stalled = false;
    _watchdog.stop();
    _length = -1.0;
}
