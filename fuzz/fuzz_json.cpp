// The JSON reader of the configuration and preferences files, in this process so that coverage
// steers the search: any bytes on disk give a value or an error, never a crash; the value reads
// as the configuration and the preferences store read theirs; whatever it reads can be written
// back and read again with the same keys.
#include "KEOSharedPreferences.h"
#include "KEOStatic.h"

#include <bb/data/JsonDataAccess>

#include <QDir>
#include <QFile>

#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    // The store takes its file below the working directory when it is made; libFuzzer's own
    // corpus paths are relative, so the directory is only borrowed for that moment.
    static const QString root = [] {
        const QString dir = QDir::tempPath() + QString("/keo-fuzz-json-%1").arg(getpid());
        QDir().mkpath(dir + "/data");
        const QByteArray back = QFile::encodeName(QDir::currentPath());
        if (chdir(QFile::encodeName(dir).constData()) != 0)
            abort();
        KEOSharedPreferences::sharedInstance();
        if (chdir(back.constData()) != 0)
            abort();
        return dir;
    }();
    const QString path = root + "/data/KEOPreferences.json";
    QFile out(path);
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        out.write(reinterpret_cast<const char *>(data), static_cast<qint64>(size)) < 0)
        abort();
    out.close();

    { // the preferences store reads the file again under a hold
        KEOSharedPreferences::Hold hold;
        KEOSharedPreferences *store = KEOSharedPreferences::sharedInstance();
        store->getString("MCCVID") + store->getDateTime("InstallDate").toString();
        (void)(store->getBool("SuccessfulClose") && store->getLong("Launches") > 0);
    }

    bb::data::JsonDataAccess jda;
    const QVariant value = jda.load(path);
    if (jda.hasError())
        return 0;
    // As the configuration reads its sections, numbers and points of interest.
    const QMap<QString, QVariant> analytics = value.toMap().value("analytics").toMap();
    bool ok = false;
    analytics.value("lifecycleTimeout").toUInt(&ok);
    (void)(analytics.value("ssl").toBool() && analytics.value("rsids").toString().isEmpty());
    for (const QVariant &point : KEOStatic::toList(analytics.value("poi"))) {
        const QList<QVariant> fields = KEOStatic::toList(point);
        if (fields.count() == 4)
            fields[0].toString() + QString::number(fields[1].toDouble() + fields[3].toDouble());
    }
    // The preferences store keeps what it read as a map and saves it whole.
    jda.save(value, path);
    if (jda.hasError())
        abort();
    if (jda.load(path).toMap().keys() != value.toMap().keys() || jda.hasError())
        abort();
    return 0;
}
