#include "KEOSharedPreferences.h"

#include "KEOLockFile.h"
#include "KEOStatic.h"

#include <bb/data/JsonDataAccess>
#include <sandbox/sandbox.h>

#include <QDebug>
#include <QFile>
#include <QMap>

#include <atomic>

std::mutex KEOSharedPreferences::_jsonMutex;

namespace {
// Atomic so that a thread that sees the pointer also sees the constructed object.
std::atomic<KEOSharedPreferences *> _sharedInstance{nullptr};
std::mutex _instanceMutex;

// This process's holds: the outermost takes the file lock, the nested ones only count.
std::recursive_mutex _holdMutex;
int _holdDepth = 0; // under _holdMutex
int _lockFile = -1; // under _holdMutex; open for the process's life once made
} // namespace

KEOSharedPreferences::Hold::Hold() {
    _holdMutex.lock();
    if (_holdDepth++ > 0)
        return;
    KEOSharedPreferences *store = sharedInstance();
    // Without a working directory or a data directory (yet), the file can't be shared either.
    if (_lockFile < 0 && !store->_filePath->isEmpty())
        _lockFile = KEOLockFile::open(QFile::encodeName(*store->_filePath + ".lock").constData());
    KEOLockFile::lock(_lockFile);
    store->reload();
}

KEOSharedPreferences::Hold::~Hold() {
    if (--_holdDepth == 0)
        KEOLockFile::unlock(_lockFile);
    _holdMutex.unlock();
}

void KEOSharedPreferences::reload() {
    bb::data::JsonDataAccess jda;
    // What isn't a readable object counts as empty, as at construction.
    QMap<QString, QVariant> map = jda.load(*_filePath).toMap();
    std::lock_guard<std::mutex> locker(_jsonMutex);
    for (auto change = _unsaved.cbegin(); change != _unsaved.cend(); ++change) {
        if (change.value().isValid())
            map[change.key()] = change.value();
        else
            map.remove(change.key());
    }
    _jsonData->setValue(map);
}

void KEOSharedPreferences::noteSaved(bool saved, const QString &key, const QVariant &value) {
    if (saved)
        _unsaved.clear(); // the file holds all of them now
    else
        _unsaved[key] = value;
}

KEOSharedPreferences *KEOSharedPreferences::sharedInstance() {
    KEOSharedPreferences *instance = _sharedInstance.load(std::memory_order_acquire);
    if (instance)
        return instance;
    std::lock_guard<std::mutex> locker(_instanceMutex);
    instance = _sharedInstance.load(std::memory_order_relaxed);
    if (!instance) {
        instance = new KEOSharedPreferences();
        _sharedInstance.store(instance, std::memory_order_release);
    }
    return instance;
}

KEOSharedPreferences::KEOSharedPreferences() {
    std::lock_guard<std::mutex> locker(_jsonMutex);
    bb::data::JsonDataAccess jda;
    _filePath = new QString(KEOStatic::qtPathBelow(KEOStatic::getCurrentWorkingDirectory(),
                                                   "data/KEOPreferences.json"));
    _jsonData = new QVariant(jda.load(*_filePath));
    // Kept on purpose: the file's path on Qt's debug stream, whatever the debug switch.
    qDebug() << *_filePath;
}

KEOSharedPreferences::~KEOSharedPreferences() {
    if (_filePath)
        delete _filePath;
    if (_jsonData)
        delete _jsonData;
}

void KEOSharedPreferences::putString(QString key, QString value) {
    Hold hold;
    std::lock_guard<std::mutex> locker(_jsonMutex);
    QMap<QString, QVariant> map = _jsonData->toMap();
    map[key] = QVariant(value);
    _jsonData->setValue(map);
    bb::data::JsonDataAccess jda;
    jda.save(*_jsonData, *_filePath);
    noteSaved(!jda.hasError(), key, QVariant(value));
    if (jda.hasError()) {
        const QByteArray message = jda.error().errorMessage().toUtf8();
        KEOStatic::logError("Unable to write JSON Defaults file (%s)", message.constData());
    }
}

QString KEOSharedPreferences::getString(QString key) {
    std::lock_guard<std::mutex> locker(_jsonMutex);
    QMap<QString, QVariant> map = _jsonData->toMap();
    return map[key].toString();
}

bool KEOSharedPreferences::contains(QString key) {
    std::lock_guard<std::mutex> locker(_jsonMutex);
    return _jsonData->toMap().contains(key);
}

void KEOSharedPreferences::putBool(QString key, bool value) {
    putString(key, QString::number(value, 10));
}

bool KEOSharedPreferences::getBool(QString key) {
    return getString(key).toInt(nullptr, 10) == 1;
}

void KEOSharedPreferences::putLong(QString key, long value) {
    putString(key, QString::number(value, 10));
}

long KEOSharedPreferences::getLong(QString key) {
    return getString(key).toLong(nullptr, 10);
}

void KEOSharedPreferences::putDateTime(QString key, QDateTime value) {
    putString(key, value.toString(Qt::ISODate));
}

QDateTime KEOSharedPreferences::getDateTime(QString key) {
    return QDateTime::fromString(getString(key), Qt::ISODate);
}

void KEOSharedPreferences::remove(QString key) {
    Hold hold;
    std::lock_guard<std::mutex> locker(_jsonMutex);
    QMap<QString, QVariant> map = _jsonData->toMap();
    map.remove(key);
    _jsonData->setValue(map);
    bb::data::JsonDataAccess jda;
    jda.save(*_jsonData, *_filePath);
    // Kept on purpose: a failed save here writes no line, unlike a put's.
    noteSaved(!jda.hasError(), key, QVariant());
}
