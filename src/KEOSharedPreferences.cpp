#include "KEOSharedPreferences.h"

#include "KEOStatic.h"

#include <bb/data/JsonDataAccess>

#include <QDebug>
#include <QMap>

#include <atomic>

std::mutex KEOSharedPreferences::_jsonMutex;

namespace {
// Atomic so that a thread that sees the pointer also sees the constructed object.
std::atomic<KEOSharedPreferences *> _sharedInstance{nullptr};
std::mutex _instanceMutex;
} // namespace

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
    qDebug() << *_filePath;
}

KEOSharedPreferences::~KEOSharedPreferences() {
    if (_filePath)
        delete _filePath;
    if (_jsonData)
        delete _jsonData;
}

void KEOSharedPreferences::putString(QString key, QString value) {
    std::lock_guard<std::mutex> locker(_jsonMutex);
    QMap<QString, QVariant> map = _jsonData->toMap();
    map[key] = QVariant(value);
    _jsonData->setValue(map);
    bb::data::JsonDataAccess jda;
    jda.save(*_jsonData, *_filePath);
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
    std::lock_guard<std::mutex> locker(_jsonMutex);
    QMap<QString, QVariant> map = _jsonData->toMap();
    map.remove(key);
    _jsonData->setValue(map);
    bb::data::JsonDataAccess jda;
    jda.save(*_jsonData, *_filePath);
}
