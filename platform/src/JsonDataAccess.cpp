#include <bb/data/JsonDataAccess>

#include <QFile>
#include <QJsonDocument>
#include <QJsonParseError>
#include <sandbox/sandbox.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

// The whole of text into an open file; 0 or an errno.
int writeAll(int file, const QByteArray &text) {
    for (qint64 done = 0; done < text.size();) {
        const ssize_t written =
            write(file, text.constData() + done, static_cast<size_t>(text.size() - done));
        if (written > 0)
            done += written;
        else if (errno != EINTR)
            return errno;
    }
    return fdatasync(file) == 0 ? 0 : errno;
}

// A temporary file beside the target, renamed over it once written, so that a reader or a kill
// never meets a half-written file. Where the directory refuses new files but the file itself may
// be written, it is written in place: a value kept at the risk of a torn file beats a value lost
// at every start. Both are made private, as every file of the application's data is.
int writePrivately(const QByteArray &path, const QByteArray &text) {
    static std::atomic<unsigned> made{0};
    const QByteArray temporary = path + '.' + QByteArray::number(getpid()) + '.' +
                                 QByteArray::number(made.fetch_add(1)) + ".tmp";
    int file = sandbox_open_private(temporary.constData(), O_WRONLY | O_CREAT | O_EXCL);
    if (file < 0) {
        if (errno != EACCES)
            return errno;
        file = sandbox_open_private(path.constData(), O_WRONLY | O_TRUNC);
        if (file < 0)
            return errno;
        const int error = writeAll(file, text);
        close(file);
        return error;
    }
    int error = writeAll(file, text);
    if (close(file) != 0 && error == 0)
        error = errno;
    if (error == 0 && rename(temporary.constData(), path.constData()) != 0)
        error = errno;
    if (error != 0)
        unlink(temporary.constData());
    return error;
}

} // namespace

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
