#pragma once
// Static helpers shared by the whole library: logging, time, device facts, the visitor
// identifier and the context data of hits. No instance exists. Every member may be called
// from any thread.
#include <QByteArray>
#include <QHash>
#include <QString>
#include <QVariant>

class KEOContextData;
class QRegExp;

class KEOStatic {
public:
    KEOStatic() = delete;

    // One line on standard error, "KEOMobile Error: " first; always written.
    static void logError(const char *format, ...) __attribute__((format(printf, 1, 2)));
    // One line on standard output, "KEOMobile Debug: " first; only with debug logging on.
    static void logDebug(const char *format, ...) __attribute__((format(printf, 1, 2)));

    // Whole seconds since 1970 by the wall clock.
    static long timeSince1970();
    // The hit's "t" text: fixed zeros and the minutes local time lies behind UTC.
    static QString timestampString();

    // The root of every file of the library: the platform's sandbox when it made one for the
    // application, else the process's working directory. The text
    // stays valid until the next call on the same thread; copy it at once. Null on failure.
    static char *getCurrentWorkingDirectory();
    // The path by which Qt's file classes reach relative below directory, a text from
    // getCurrentWorkingDirectory(). Empty when directory is null: no file is then meant, and
    // none below the root either. Any thread.
    static QString qtPathBelow(const char *directory, const QString &relative);

    // Device and application facts, each fetched once per process.
    static QString getUserAgent();
    static QString getRawOSVersion();
    static QString getOperatingSystem();
    static QString getPlatform();
    static QString getCarrier();
    static QString getResolution();
    static QString getLocale();
    static QString getApplicationID();
    static QString getApplicationName();
    static QString getApplicationVersion();

    // The anonymous visitor identifier, made at the first hit and kept for good.
    static QString getServerVisitorID();
    // The next number of qrand()'s unseeded sequence on the calling thread. Qt 6 has no qrand;
    // there the same numbers come in the same order from the generator behind Qt 5's.
    static int qrandDraw();
    // QString::replace(QRegExp, QString) as Qt 5 has it; Qt 6 keeps the operation in QRegExp.
    static void replaceAll(QString &text, const QRegExp &rx, const QString &after);
    // QVariant::toList as Qt 5 gives it: Qt 6 also makes a list of a text's characters, which
    // would turn a name standing where a list belongs into a point of interest.
    static QList<QVariant> toList(const QVariant &value);

    // Context data keys reduced to letters, digits and single inner dots.
    static QString cleanContextDataKey(QString value);
    static QHash<QString, QString> cleanContextDataHash(QHash<QString, QString> cHash);
    // The flat hash as a tree of dotted key parts. The caller owns the result and frees it
    // with freeContextData.
    static QHash<QString, KEOContextData *> *translateContextData(QHash<QString, QString> cHash);
    static QString serializeContextData(QHash<QString, KEOContextData *> cHash);
    static QString serializeToQueryString(QHash<QString, QString> vars,
                                          QHash<QString, QString> contextData);
    static QString urlEncode(QString value);
    // Frees a tree from translateContextData, every node included.
    static void freeContextData(QHash<QString, KEOContextData *> *tree);
    // Appends to out exactly the text of serializeToQueryString(vars, contextData), as UTF-8
    // (all of it is ASCII), without a tree of heap nodes or a temporary text per piece: the
    // hit path's writer. out belongs to the caller; the hashes are only read. False, with out
    // unchanged, when the text would not fit a QByteArray.
    static bool appendQueryString(QByteArray &out, const QHash<QString, QString> &vars,
                                  const QHash<QString, QString> &contextData);
};
