#pragma once
// The library's store of small values that survive restarts: one JSON object, kept in
// memory and written through to data/KEOPreferences.json on every put and remove.
// Every value is stored as a JSON string. All members may be called from any thread; each
// call is atomic on its own, a read-change-write by a caller is not.
#include <QDateTime>
#include <QString>
#include <QVariant>

#include <mutex>

class KEOSharedPreferences {
public:
    // The singleton, made at first use; never destroyed.
    static KEOSharedPreferences *sharedInstance();
    virtual ~KEOSharedPreferences();

    void putString(QString key, QString value);
    // The stored text, empty when missing.
    QString getString(QString key);
    // Stored as "1" or "0"; true only for text that reads as the integer 1.
    void putBool(QString key, bool value);
    bool getBool(QString key);
    // Stored as decimal text; 0 when missing or no number.
    void putLong(QString key, long value);
    long getLong(QString key);
    // Stored as ISO 8601 text to the second; null when missing.
    void putDateTime(QString key, QDateTime value);
    QDateTime getDateTime(QString key);
    // Removes the key and rewrites the file.
    void remove(QString key);

private:
    KEOSharedPreferences();

    QVariant *_jsonData;
    // A std::mutex rather than a QMutex: QMutex locks inside the Qt library, where the race
    // detector of the thread stress build cannot see it.
    static std::mutex _jsonMutex;
    QString *_filePath;
};
