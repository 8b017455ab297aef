#include <bb/data/JsonDataAccess>

#include "PrivateWrite.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonParseError>

#include <cstring>

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
    const QByteArray text = QJsonDocument::fromVariant(data).toJson(QJsonDocument::Indented);
    const int error = writePrivately(QFile::encodeName(filePath), text);
    if (error != 0) {
        _hasError = true;
        _error = DataAccessError(QString::fromLocal8Bit(strerror(error)));
    }
}

} // namespace data
} // namespace bb
