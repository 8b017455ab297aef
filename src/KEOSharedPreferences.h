#pragma once
// The library's store of small values that survive restarts: one JSON object, kept in
// memory and written through to data/KEOPreferences.json on every put and remove.
// Every value is stored as a JSON string. All members may be called from any thread; each
// call is atomic on its own, a read-change-write by a caller only under a Hold.
// Several processes of one application may share the file: each put and remove reads it again
// under a lock on data/KEOPreferences.json.lock and changes only its own key, so no process
// erases what another wrote. Reads are served from memory, as the latest write left it.
#include <QDateTime>
#include <QMap>
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
    // Whether the key is stored, an empty text included.
    bool contains(QString key);

    // Holds the file against the other processes, on the calling thread, for a read-change-write:
    // the store is read again from the file when the outermost hold begins, and no other process
    // writes the file until it ends. Holds nest, and every put and remove takes one of its own.
    // Any thread; keep it short, and take no other lock of the library's under it.
    class Hold {
    public:
        Hold();
        ~Hold();
        Hold(const Hold &) = delete;
        Hold &operator=(const Hold &) = delete;
    };

private:
    KEOSharedPreferences();
    // The file's content with this process's unsaved changes on top; under the outermost Hold.
    void reload();
    // Records the outcome of a save of key: kept to be written again while saves fail.
    void noteSaved(bool saved, const QString &key, const QVariant &value);

    QVariant *_jsonData;
    // A std::mutex rather than a QMutex: QMutex locks inside the Qt library, where the race
    // detector of the thread stress build cannot see it.
    static std::mutex _jsonMutex;
    QString *_filePath;
    // Changes that no save has carried to the file yet (an invalid value: removed), so that
    // reading the file again does not lose them; under _jsonMutex.
    QMap<QString, QVariant> _unsaved;
};
