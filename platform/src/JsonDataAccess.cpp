#include <bb/data/JsonDataAccess>

#include <QFile>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QSaveFile>

namespace bb {
namespace data {

QVariant JsonDataAccess::load(const QString &filePath) {
    _hasError = false;
    _error = DataAccessError();
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
    const QJsonDocument document = QJsonDocument::fromVariant(data);
    // QSaveFile writes a temporary file beside the target and renames it on commit, so a
    // reader or a kill never meets a half-written file.
    QSaveFile file(filePath);
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
