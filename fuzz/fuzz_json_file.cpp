// The reader of the configuration and preferences files: any bytes on disk give a value or an
// error, never a crash, and whatever it reads can be written back and read again.
#include <bb/data/JsonDataAccess>

#include <QDir>
#include <QFile>

#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const QString path = QDir::tempPath() + QString("/keo-fuzz-json-%1.json").arg(getpid());
    QFile out(path);
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        out.write(reinterpret_cast<const char *>(data), static_cast<qint64>(size)) < 0)
        abort();
    out.close();
    bb::data::JsonDataAccess jda;
    const QVariant value = jda.load(path);
    if (jda.hasError())
        return 0;
    // The preferences store keeps what it read as a map and saves it whole.
    jda.save(value, path);
    if (jda.hasError())
        abort();
    if (jda.load(path).toMap().keys() != value.toMap().keys() || jda.hasError())
        abort();
    return 0;
}
