#pragma once
// Desktop stand-in for the platform's JSON reader and writer, on Qt's JSON classes.
// Objects become QVariantMap, arrays QVariantList, strings QString; a failed load gives an
// invalid QVariant. Each instance keeps the error of its last load or save.
#include <QString>
#include <QVariant>

namespace bb {
namespace data {

class DataAccessError {
public:
    DataAccessError() = default;
    explicit DataAccessError(const QString &message) : _message(message) {}
    // The text of the last failure, empty when there was none.
    QString errorMessage() const { return _message; }

private:
    QString _message;
};

// Not thread-safe: use one instance per thread (the library makes one per call).
class JsonDataAccess {
public:
    JsonDataAccess() = default;
    // Reads and parses filePath. Returns an invalid QVariant when the path is empty or the file
    // is missing, unreadable or not JSON; hasError() then is true.
    QVariant load(const QString &filePath);
    // Writes data as JSON. The write is atomic: a temporary file in the same directory is
    // renamed over filePath, so a kill at any moment leaves the old or the new content. Only
    // where the directory refuses new files and filePath may be written is it written in place,
    // without that guarantee. An empty path writes nothing and sets the error.
    void save(const QVariant &data, const QString &filePath);
    bool hasError() const { return _hasError; }
    DataAccessError error() const { return _error; }

private:
    bool _hasError = false;
    DataAccessError _error;
};

} // namespace data
} // namespace bb
