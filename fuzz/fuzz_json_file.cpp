// The reader of the configuration file and of the preferences file: any bytes on disk give a
// value or an error, never a crash, and whatever it reads can be written back and read again.
#include <bb/data/JsonDataAccess>

#include <QDir>
#include <QFile>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

static QString scratchFile() {
    static const QString path =
        QDir::tempPath() + QString("/keo-fuzz-json-%1.json").arg(static_cast<qint64>(getpid()));
    return path;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const QString path = scratchFile();
    {
        QFile out(path);
        if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate))
            abort();
        out.write(reinterpret_cast<const char *>(data), static_cast<qint64>(size));
    }
    bb::data::JsonDataAccess jda;
    const QVariant value = jda.load(path);
    if (jda.hasError())
        return 0;
    // The preferences store keeps what it read as a map and saves it whole.
    jda.save(value, path);
    if (jda.hasError())
        abort();
    const QVariant again = jda.load(path);
    if (jda.hasError() || again.toMap().keys() != value.toMap().keys()) {
        fprintf(stderr, "a saved file did not read back\n");
        abort();
    }
    return 0;
}
