#include <bb/data/JsonDataAccess>

#include <QFile>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QSaveFile>

namespace bb {
namespace data {

// Said before any file class sees an empty path, which would print a warning of its own.
static const char *NO_FILE_NAME = "No file name specified";

QVariant JsonDataAccess::load(const QString &filePath) {
    _hasError = false;
    _error = DataAccessError();
    if (filePath.isEmpty()) {
        _hasError = true;
        _error = DataAccessError(NO_FILE_NAME);
        return QVariant();
    }
    QFile file(filePath);
    if (!file.open(QIODevice::ReadOnly)) {
        _hasError = true;
        _error = DataAccessError(file.errorString());
        return QVariant();
    }
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        _hasError = true;
        _error = DataAccessError(parseError.errorString());
        return QVariant();
    }
    return document.toVariant();
}

void JsonDataAccess::save(const QVariant &data, const QString &filePath) {
    _hasError = false;
    _error = DataAccessError();
    if (filePath.isEmpty()) {
        _hasError = true;
        _error = DataAccessError(NO_FILE_NAME);
        return;
    }
    const QJsonDocument document = QJsonDocument::fromVariant(data);
    // QSaveFile writes a temporary file beside the target and renames it on commit, so a
    // reader or a kill never meets a half-written file. Where the directory refuses new files
    // but the file itself may be written, it is written in place: a value kept at the risk of a
    // torn file beats a value lost at every start.
    QSaveFile file(filePath);
    file.setDirectWriteFallback(true);
    if (!file.open(QIODevice::WriteOnly)) {
        _hasError = true;
        _error = DataAccessError(file.errorString());
        return;
    }
    file.write(document.toJson(QJsonDocument::Indented));
    if (!file.commit()) {
        _hasError = true;
        _error = DataAccessError(file.errorString());
    }
}

} // namespace data
} // namespace bb
