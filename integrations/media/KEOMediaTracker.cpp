#include "KEOMediaTracker.h"

#include <KEOMediaAnalytics.h>

#include <QMetaMethod>

#include <algorithm>
#include <cmath>

namespace {

// The values QMediaPlayer and QML's players share for their state and status.
enum { Stopped = 0, Playing = 1 };
enum { Loaded = 3, Buffered = 6, EndOfMedia = 7, InvalidMedia = 8 };

KEOMediaAnalytics *media() {
    return KEOMediaAnalytics::sharedInstance();
}

} // namespace

KEOMediaTracker::KEOMediaTracker(QObject *player, QObject *parent) : QObject(parent) {
    _since.start();
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
    _player = player;
    _source = QVariant(); // the new player's source is no change
    if (player != nullptr) {
        const QMetaObject *from = player->metaObject(), *to = metaObject();
        const auto link = [&](const QMetaMethod &signal, const char *slot) {
            connect(player, signal, this, to->method(to->indexOfSlot(slot)), Qt::DirectConnection);
        };
        const auto onChange = [&](const char *property, const char *slot) {
            const int index = from->indexOfProperty(property);
            if (index >= 0 && from->property(index).hasNotifySignal())
                link(from->property(index).notifySignal(), slot);
        };
        for (const char *property : {"playbackState", "state", "position", "duration", "status",
                                     "mediaStatus", "media", "source"})
            onChange(property, "changed()");
        onChange("error", "failed()");
        for (int i = 0; i < from->methodCount(); ++i)
            if (from->method(i).methodType() == QMetaMethod::Signal &&
                from->method(i).name() == "error")
                link(from->method(i), "failed()");
        connect(player, &QObject::destroyed, this, &KEOMediaTracker::playerDestroyed,
                Qt::DirectConnection);
    }
    emit playerChanged();
    follow();
}

QVariant KEOMediaTracker::read(const char *name, const char *orName) const {
    const QVariant value = _player->property(name);
    return value.isValid() || orName == nullptr ? value : _player->property(orName);
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
    if (!_player)
        return;
    // A new source ends the item, before anything the player tells of the new one; what the
    // player says of its status and length is the old source's until it starts loading.
    const QVariant source = read("media", "source");
    if (source != _source) {
        closeItem();
        _stale = _source.isValid();
        _source = source;
    }
    const int state = read("playbackState", "state").toInt();
    const int status = read("status", "mediaStatus").toInt();
    const double position = read("position").toDouble() / 1000.0;
    const double elapsed = _since.restart() / 1000.0;
    // Where playing would have taken the item since the last change: a stopped player has
    // already gone back to the start, and a jump is measured from here.
    double expected = _position + (_playing ? elapsed : 0.0);
    if (_length > 0)
        expected = std::min(expected, _length);
    _stale = _stale && status >= Loaded;
    const bool playing = state == Playing && !_stale && status >= Loaded && status <= Buffered;

    if (status == EndOfMedia || status == InvalidMedia) {
        if (_playing)
            media()->stop(_open, status == EndOfMedia && _length > 0 ? _length : expected);
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
    }
    _position = position;
}

void KEOMediaTracker::failed() {
    if (!_player)
        return;
    const QVariant error = _player->property("error"); // a text, or an enumeration
    if (error.type() == QVariant::String ? !error.toString().isEmpty() : error.toInt() != 0)
        closeItem();
}

void KEOMediaTracker::playerDestroyed() {
    closeItem();
    _player = nullptr;
    emit playerChanged();
}

void KEOMediaTracker::closeItem() {
    if (!_open.isEmpty())
        media()->close(_open);
    _open.clear();
    _playing = false;
    _length = -1.0;
}
