#include "KEOStatic.h"

#include "KEOContextData.h"
#include "KEOMobileConfig.h"
#include "KEOSharedPreferences.h"

#include <bb/device/CellularNetworkInfo>
#include <bb/device/DisplayInfo>
#include <bb/device/HardwareInfo>
#include <bps/deviceinfo.h>
#include <bps/locale.h>
#include <sandbox/sandbox.h>

#include <QDateTime>
#include <QFile>
#include <QList>
#include <QRegExp>
#include <QUrl>
#include <QUuid>

#include <libxml/parser.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <random>
#include <ctime>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

static const char *ERROR_PREFIX = "KEOMobile Error: ";
static const char *DEBUG_PREFIX = "KEOMobile Debug: ";

// The namespace of the platform's application descriptor.
static const char *BAR_NAMESPACE = "http://www.qnx.com/schemas/application/1.0";

// Allocated once and never destroyed: the detached worker and media monitor threads may still
// read them while the process runs its exit handlers.
static QString &_timestamp = *new QString();
static pthread_once_t _timestamp_pred = PTHREAD_ONCE_INIT;

static QString &_userAgent = *new QString();
static pthread_once_t _userAgent_pred = PTHREAD_ONCE_INIT;
static QString &_osVersion = *new QString();
static pthread_once_t _osVersion_pred = PTHREAD_ONCE_INIT;
static QString &_operatingSystem = *new QString();
static pthread_once_t _operatingSystem_pred = PTHREAD_ONCE_INIT;
static QString &_platformName = *new QString();
static pthread_once_t _platformName_pred = PTHREAD_ONCE_INIT;
static QString &_carrierName = *new QString();
static pthread_once_t _carrierName_pred = PTHREAD_ONCE_INIT;
static QString &_resolution = *new QString();
static pthread_once_t _resolution_pred = PTHREAD_ONCE_INIT;
static QString &_locale = *new QString();
static pthread_once_t _locale_pred = PTHREAD_ONCE_INIT;
static QString &_applicationID = *new QString();
static QString &_applicationName = *new QString();
static QString &_applicationVersion = *new QString();
static pthread_once_t _applicationID_pred = PTHREAD_ONCE_INIT;

static QString &_aid = *new QString();
static pthread_once_t _serverVID_pred = PTHREAD_ONCE_INIT;

// ---------------------------------------------------------------------------------------
// Logging

static void writeLine(FILE *stream, const char *prefix, const char *format, va_list args) {
    fwrite(prefix, 1, strlen(prefix), stream);
    vfprintf(stream, format, args);
    fputc('\n', stream);
    fflush(stream);
}

void KEOStatic::logError(const char *format, ...) {
    va_list args;
    va_start(args, format);
    writeLine(stderr, ERROR_PREFIX, format, args);
    va_end(args);
}

void KEOStatic::logDebug(const char *format, ...) {
    if (!KEOMobileConfig::sharedInstance()->getDebugLogging())
        return;
    va_list args;
    va_start(args, format);
    writeLine(stdout, DEBUG_PREFIX, format, args);
    va_end(args);
}

// ---------------------------------------------------------------------------------------
// Time

long KEOStatic::timeSince1970() {
    return static_cast<long>(QDateTime::currentMSecsSinceEpoch() / 1000);
}

static void _initTimestamp() {
    time_t current_time = time(nullptr);
    struct tm *timeinfo = localtime(&current_time);
    long offset = timeinfo->tm_gmtoff;
    // Kept on purpose: minutes that local time lies behind UTC: east of UTC is negative.
    long minutesBehind = -(offset / 60);
    _timestamp =
        QString("00/00/0000 00:00:00 0 %1").arg(QString::number(minutesBehind, 10), 0, ' ');
}

QString KEOStatic::timestampString() {
    pthread_once(&_timestamp_pred, _initTimestamp);
    return _timestamp;
}

// ---------------------------------------------------------------------------------------
// Working directory

char *KEOStatic::getCurrentWorkingDirectory() {
    // One buffer per thread, so that concurrent callers never overwrite each other's text.
    static thread_local char buffer[1025];
    // A sandbox that the platform made for the application is the root; without one, the
    // working directory is, as on the phone, where the system starts the application there.
    if (const char *root = sandbox_get_root()) {
        if (strlen(root) < sizeof(buffer))
            return strcpy(buffer, root);
        errno = ERANGE;
        return nullptr;
    }
    return getcwd(buffer, sizeof(buffer));
}

QString KEOStatic::qtPathBelow(const char *directory, const QString &relative) {
    if (directory == nullptr)
        return QString();
    const QByteArray bytes(directory);
    const QString decoded = QFile::decodeName(bytes);
    if (QFile::encodeName(decoded) == bytes)
        return QString("%1/%2").arg(decoded, relative);
    // A QString can't hold these bytes (say 0xFF in a name that isn't UTF-8), and the path it
    // would give names another directory. The directory is reached instead through a handle
    // of its own, held for the life of the process.
    const int handle = open(directory, O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (handle < 0)
        return QString();
    return QString("/proc/self/fd/%1/%2").arg(handle).arg(relative);
}

// ---------------------------------------------------------------------------------------
// Device and application facts

static void initRawOSVersion() {
    // Null beforehand, so that a failed fetch reads as an empty version.
    deviceinfo_details_t *details = nullptr;
    if (deviceinfo_get_details(&details) == -1)
        // Kept on purpose: the line ends without its closing parenthesis.
        KEOStatic::logError("Failed to get device os version(%d", errno);
    _osVersion = QString(deviceinfo_details_get_device_os_version(details));
    deviceinfo_free_details(&details);
}

static void _initPlatformName() {
    bb::device::HardwareInfo info;
    _platformName = info.deviceName();
}

static void _initUserAgent() {
    // The platform is asked before the OS version.
    const QString platform = KEOStatic::getPlatform();
    const QString osVersion = KEOStatic::getRawOSVersion();
    _userAgent = QString("User-Agent: Mozilla/5.0 (BB10; %1) AppleWebKit/537.10+ (KHTML, like "
                         "Gecko) Version/%2 Mobile Safari/537.10+")
                     .arg(platform, osVersion);
}

static void _initOperatingSystem() {
    _operatingSystem = QString("%1 %2").arg(QString("BB"), KEOStatic::getRawOSVersion());
}

static void _initCarrierName() {
    bb::device::CellularNetworkInfo *info = new bb::device::CellularNetworkInfo();
    const QString name = info->name();
    delete info;
    _carrierName = name.isEmpty() ? QString("unknown") : name;
}

static void _initResolution() {
    bb::device::DisplayInfo widthInfo;
    const QString width = QString::number(widthInfo.pixelSize().width());
    bb::device::DisplayInfo heightInfo;
    const QString height = QString::number(heightInfo.pixelSize().height());
    _resolution = QString("%1x%2").arg(width, height);
}

static void _initLocale() {
    // Null beforehand, so that releasing it after a failure is harmless.
    char *locale = nullptr;
    QString text;
    if (locale_get_locale(&locale) == 0)
        text = QString(locale);
    else
        text = QString("en_US");
    text.replace(QChar('_'), QChar('-'), Qt::CaseSensitive);
    _locale = text.toLower();
    bps_free(locale);
}

static void _initApplicationID() {
    const char *cwd = KEOStatic::getCurrentWorkingDirectory();
    if (cwd == nullptr) {
        KEOStatic::logError("Unable to load bar file(%d)", errno);
        return;
    }
    // The directory's own bytes, without a fixed buffer that a long one could overflow.
    const QByteArray barFile = QByteArray(cwd) + "/app/native/bar-descriptor.xml";
    // Read as xmlParseFile would, but without libxml2's own lines on the host's standard
    // error: the one line below is the library's whole report.
    xmlDocPtr doc =
        xmlReadFile(barFile.constData(), nullptr, XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
    if (doc == nullptr) {
        KEOStatic::logError("Unable to load bar file(%d)", errno);
        return;
    }
    xmlXPathContextPtr xpathCtx = xmlXPathNewContext(doc);
    if (xpathCtx == nullptr) {
        KEOStatic::logError("Cannot load bar file (unable to create context)");
        xmlFreeDoc(doc);
        return;
    }
    if (xmlXPathRegisterNs(xpathCtx, BAD_CAST "ns", BAD_CAST BAR_NAMESPACE) != 0) {
        KEOStatic::logError("Cannot load bar file (unable to register namespace)");
        xmlXPathFreeContext(xpathCtx);
        xmlFreeDoc(doc);
        return;
    }
    xmlXPathObjectPtr xpathObj = xmlXPathEvalExpression(
        BAD_CAST "/ns:qnx/*[self::ns:name[1] or self::ns:versionNumber[1]]", xpathCtx);
    if (xpathObj == nullptr) {
        // The message has a number and no value for it; 0 stands in.
        KEOStatic::logError("Unable to evaluate xpath expression(%d)", 0);
        xmlXPathFreeContext(xpathCtx);
        xmlFreeDoc(doc);
        return;
    }
    xmlNodeSetPtr nodeset = xpathObj->nodesetval;
    const int count = nodeset ? nodeset->nodeNr : 0;
    for (int i = 0; i < count; ++i) {
        xmlNodePtr node = nodeset->nodeTab[i];
        if (xmlStrcasecmp(node->name, BAD_CAST "name") == 0) {
            xmlChar *text = xmlNodeListGetString(doc, node->xmlChildrenNode, 1);
            _applicationName = QString::fromUtf8(reinterpret_cast<const char *>(text));
            // Given back at once: the text is copied.
            xmlFree(text);
        }
        if (xmlStrcasecmp(node->name, BAD_CAST "versionNumber") == 0) {
            xmlChar *text = xmlNodeListGetString(doc, node->xmlChildrenNode, 1);
            _applicationVersion = QString::fromUtf8(reinterpret_cast<const char *>(text));
            xmlFree(text);
        }
    }
    xmlXPathFreeObject(xpathObj);
    xmlXPathFreeContext(xpathCtx);
    xmlFreeDoc(doc);
    if (_applicationName.isEmpty() || _applicationVersion.isEmpty()) {
        KEOStatic::logError("Cannot load app name and version from BAR file.");
        return;
    }
    _applicationID = QString("%1/%2").arg(_applicationName, _applicationVersion);
}

QString KEOStatic::getUserAgent() {
    pthread_once(&_userAgent_pred, _initUserAgent);
    return _userAgent;
}

QString KEOStatic::getRawOSVersion() {
    pthread_once(&_osVersion_pred, initRawOSVersion);
    return _osVersion;
}

QString KEOStatic::getOperatingSystem() {
    pthread_once(&_operatingSystem_pred, _initOperatingSystem);
    return _operatingSystem;
}

QString KEOStatic::getPlatform() {
    pthread_once(&_platformName_pred, _initPlatformName);
    return _platformName;
}

QString KEOStatic::getCarrier() {
    pthread_once(&_carrierName_pred, _initCarrierName);
    return _carrierName;
}

QString KEOStatic::getResolution() {
    pthread_once(&_resolution_pred, _initResolution);
    return _resolution;
}

QString KEOStatic::getLocale() {
    pthread_once(&_locale_pred, _initLocale);
    return _locale;
}

QString KEOStatic::getApplicationID() {
    pthread_once(&_applicationID_pred, _initApplicationID);
    return _applicationID;
}

QString KEOStatic::getApplicationName() {
    pthread_once(&_applicationID_pred, _initApplicationID);
    return _applicationName;
}

QString KEOStatic::getApplicationVersion() {
    pthread_once(&_applicationID_pred, _initApplicationID);
    return _applicationVersion;
}

// ---------------------------------------------------------------------------------------
// Visitor identifier

// Qt 5's remove(QRegExp) is a replace by nothing.
void KEOStatic::replaceAll(QString &text, const QRegExp &rx, const QString &after) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    text = rx.replaceIn(text, after);
#else
    text.replace(rx, after);
#endif
}

QList<QVariant> KEOStatic::toList(const QVariant &value) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    const int type = value.userType();
    if (type == QMetaType::QString || type == QMetaType::QByteArray)
        return QList<QVariant>();
#endif
    return value.toList();
}

int KEOStatic::qrandDraw() {
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    thread_local std::minstd_rand generator; // Qt 5's: one per thread, never seeded
    return static_cast<int>(generator());
#else
    return qrand();
#endif
}

static void initServerVID() {
    // One identifier per installation, also when several processes make their first hit at
    // once: the one that comes second reads what the first stored.
    KEOSharedPreferences::Hold hold;
    _aid = KEOSharedPreferences::sharedInstance()->getString("aid");
    if (!_aid.isEmpty())
        return;
    QString uuid = QUuid::createUuid().toString();
    KEOStatic::replaceAll(uuid, QRegExp("[-{}]", Qt::CaseSensitive, QRegExp::RegExp), QString());
    uuid = uuid.toUpper();
    if (uuid.length() != 32) {
        KEOStatic::logError("Unable to create visitor ID(generated uuid was only %d characters)",
                            static_cast<int>(uuid.length()));
        return;
    }
    // The two halves take differently ranged leading digits.
    QString left = uuid.left(16);
    const QString leftDigit = QString::number(KEOStatic::qrandDraw() % 8);
    KEOStatic::replaceAll(left, QRegExp("^[89A-F]", Qt::CaseSensitive, QRegExp::RegExp), leftDigit);
    QString right = uuid.right(16);
    const QString rightDigit = QString::number(KEOStatic::qrandDraw() % 4);
    KEOStatic::replaceAll(right, QRegExp("^[4-9A-F]", Qt::CaseSensitive, QRegExp::RegExp),
                          rightDigit);
    _aid = QString("%1-%2").arg(left, right);
    KEOSharedPreferences::sharedInstance()->putString("aid", _aid);
}

QString KEOStatic::getServerVisitorID() {
    pthread_once(&_serverVID_pred, initServerVID);
    return _aid;
}

// ---------------------------------------------------------------------------------------
// Context data

// True when neither cleaning pattern can match: only letters, digits and single inner dots.
// Such keys, nearly all of them, come back unchanged without building two regular expressions.
static bool isCleanKey(const QString &key) {
    const int length = key.size();
    for (int i = 0; i < length; ++i) {
        const ushort c = key.at(i).unicode();
        const bool alphanumeric =
            (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        if (alphanumeric)
            continue;
        if (c != '.' || i == 0 || i == length - 1 || key.at(i + 1) == QLatin1Char('.'))
            return false;
    }
    return true;
}

QString KEOStatic::cleanContextDataKey(QString value) {
    if (isCleanKey(value))
        return value;
    QString fixedString = value;
    // One pass over the original text: dots that only become leading or trailing through
    // this removal stay.
    replaceAll(fixedString,
               QRegExp("[^0-9a-zA-Z.]|^[.]{1,}|[.]{1,}$", Qt::CaseSensitive, QRegExp::RegExp),
               QString());
    replaceAll(fixedString, QRegExp("[.]{2,}", Qt::CaseSensitive, QRegExp::RegExp), ".");
    return fixedString;
}

QHash<QString, QString> KEOStatic::cleanContextDataHash(QHash<QString, QString> cHash) {
    QHash<QString, QString> cleanHash;
    QHashIterator<QString, QString> it(cHash);
    while (it.hasNext()) {
        it.next();
        cleanHash.insert(cleanContextDataKey(it.key()), it.value());
    }
    return cleanHash;
}

static void RecursiveAddValue(QString value, QHash<QString, KEOContextData *> *hash,
                              QList<QString> keys, int index) {
    const int arrayCount = keys.count();
    const QString keyName = index < arrayCount ? keys.at(index) : QString();
    if (keyName.isNull())
        return;
    KEOContextData *node = hash->contains(keyName) ? hash->value(keyName) : new KEOContextData();
    if (index == arrayCount - 1) {
        node->value = value;
        hash->insert(keyName, node);
    } else {
        hash->insert(keyName, node);
        RecursiveAddValue(value, &node->subValues, keys, index + 1);
    }
}

QHash<QString, KEOContextData *> *KEOStatic::translateContextData(QHash<QString, QString> cHash) {
    const QHash<QString, QString> cleanHash = cleanContextDataHash(cHash);
    QHash<QString, KEOContextData *> *tempContextData = new QHash<QString, KEOContextData *>();
    QHashIterator<QString, QString> it(cleanHash);
    while (it.hasNext()) {
        it.next();
        const QStringList parts = it.key().split(".", Qt::KeepEmptyParts, Qt::CaseSensitive);
        RecursiveAddValue(it.value(), tempContextData, parts, 0);
    }
    return tempContextData;
}

QString KEOStatic::serializeContextData(QHash<QString, KEOContextData *> cHash) {
    QString returnValue;
    QHashIterator<QString, KEOContextData *> it(cHash);
    while (it.hasNext()) {
        it.next();
        const KEOContextData *ctx = it.value();
        // "&%1=%2" and "&%1.%2&.%1" written by concatenation: like the two-argument arg, nothing
        // inserted is scanned again, and no format is parsed per pair on the caller's thread.
        if (ctx->value.length() > 0) {
            returnValue += QLatin1Char('&');
            returnValue += urlEncode(it.key());
            returnValue += QLatin1Char('=');
            returnValue += urlEncode(ctx->value);
        }
        if (ctx->subValues.count() > 0) {
            const QString key = urlEncode(it.key());
            returnValue += QLatin1Char('&');
            returnValue += key;
            returnValue += QLatin1Char('.');
            returnValue += serializeContextData(ctx->subValues);
            returnValue += QLatin1String("&.");
            returnValue += key;
        }
    }
    return returnValue;
}

QString KEOStatic::serializeToQueryString(QHash<QString, QString> vars,
                                          QHash<QString, QString> contextData) {
    QString queryParameters;
    QHashIterator<QString, QString> it(vars);
    while (it.hasNext()) {
        it.next();
        queryParameters += QLatin1Char('&');
        queryParameters += urlEncode(it.key());
        queryParameters += QLatin1Char('=');
        queryParameters += urlEncode(it.value());
    }
    if (contextData.count() > 0) {
        QHash<QString, KEOContextData *> *tree = translateContextData(contextData);
        const QString serialized = serializeContextData(*tree);
        // The tree lives for this hit only.
        freeContextData(tree);
        queryParameters.append(QString("&c.%1&.c").arg(serialized, 0, QChar(' ')));
    }
    return queryParameters;
}

QString KEOStatic::urlEncode(QString value) {
    // Text of unreserved characters only encodes to itself; most keys and many values are such.
    bool unreserved = true;
    for (const QChar ch : value) {
        const ushort c = ch.unicode();
        if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
              c == '-' || c == '.' || c == '_' || c == '~')) {
            unreserved = false;
            break;
        }
    }
    if (unreserved)
        return value;
    return QString(QUrl::toPercentEncoding(value, QByteArray(), QByteArray()));
}

static void freeNodes(const QHash<QString, KEOContextData *> &level) {
    for (KEOContextData *node : level) {
        freeNodes(node->subValues);
        delete node;
    }
}

void KEOStatic::freeContextData(QHash<QString, KEOContextData *> *tree) {
    if (tree == nullptr)
        return;
    freeNodes(*tree);
    delete tree;
}

// ---------------------------------------------------------------------------------------
// The hit path's writer

namespace {

// Writes a hit's text into a QByteArray through a raw pointer, growing it only when a piece
// might not fit; the caller's reserve() usually leaves nothing to grow.
class UrlWriter {
public:
    explicit UrlWriter(QByteArray &out) : _out(out), _size(out.size()) {
        _out.resize(qMax(_size, _out.capacity()));
        _data = _out.data();
    }
    // Trims the array to what was written; false, with the array as it was before, when the
    // text would have passed a QByteArray's bound.
    bool finish(int originalSize) {
        _out.resize(_overflow ? originalSize : _size);
        return !_overflow;
    }
    void literal(char c) {
        if (room(1))
            _data[_size++] = c;
    }
    void literal(const char *text, int length) {
        if (room(length)) {
            memcpy(_data + _size, text, static_cast<size_t>(length));
            _size += length;
        }
    }
    // The text of urlEncode for the given characters.
    void encoded(const QChar *chars, int length) {
        static const char HEX[] = "0123456789ABCDEF";
        if (!room(3 * static_cast<qint64>(length)))
            return;
        char *write = _data + _size;
        for (int i = 0; i < length; ++i) {
            const ushort c = chars[i].unicode();
            if ((c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                c == '-' || c == '.' || c == '_' || c == '~') {
                *write++ = static_cast<char>(c);
            } else if (c < 0x80) {
                *write++ = '%';
                *write++ = HEX[c >> 4];
                *write++ = HEX[c & 15];
            } else {
                // Beyond ASCII the text goes through Qt's own UTF-8 encoding, surrogates and
                // all.
                const QByteArray escaped =
                    QUrl::toPercentEncoding(QString(chars, length), QByteArray(), QByteArray());
                literal(escaped.constData(), escaped.size());
                return;
            }
        }
        _size = static_cast<int>(write - _data);
    }
    void encoded(const QString &text) { encoded(text.constData(), text.size()); }
    int size() const { return _size; }
    // Copies length bytes already written at start to the end.
    void repeat(int start, int length) {
        if (room(length)) {
            memcpy(_data + _size, _data + start, static_cast<size_t>(length));
            _size += length;
        }
    }

private:
    // Makes room for length more bytes; false once the text has passed the bound, after which
    // nothing more is written.
    bool room(qint64 length) {
        if (_overflow)
            return false;
        const qint64 needed = _size + length;
        if (needed <= _out.size())
            return true;
        // Sizes are computed in 64 bits: text near a QByteArray's bound must not wrap around.
        if (needed > INT_MAX / 2) {
            _overflow = true;
            return false;
        }
        _out.resize(static_cast<int>(qMax(needed, 2 * static_cast<qint64>(_out.size()))));
        _data = _out.data();
        return true;
    }

    QByteArray &_out;
    char *_data = nullptr;
    int _size;
    bool _overflow = false;
};

// One part of a cleaned context key, borrowed from the key it was split from. It hashes as the
// QString of the same text does, so a level holding such parts iterates in the order of
// translateContextData's QHash<QString, KEOContextData *> after the same inserts.
struct KeyPart {
    const QChar *chars;
    int size;
};

bool operator==(const KeyPart &a, const KeyPart &b) {
    return a.size == b.size && memcmp(a.chars, b.chars, sizeof(QChar) * a.size) == 0;
}

// Of the width QString's own hash has (uint in Qt 5, size_t in Qt 6): a narrower one would put
// the parts into other buckets, and the level into another order.
using HashValue = decltype(qHash(QStringView(), 0));
HashValue qHash(const KeyPart &part, HashValue seed) {
    return qHash(QStringView(part.chars, part.size), seed);
}

// A node of the tree, held by value in its parent's level; the value is borrowed from the
// cleaned hash.
struct ContextNode {
    const QString *value = nullptr;
    QHash<KeyPart, ContextNode> children;
};

void writeLevel(UrlWriter &out, const QHash<KeyPart, ContextNode> &level) {
    for (auto it = level.constBegin(); it != level.constEnd(); ++it) {
        const KeyPart &key = it.key();
        if (it->value != nullptr && it->value->length() > 0) {
            out.literal('&');
            out.encoded(key.chars, key.size);
            out.literal('=');
            out.encoded(*it->value);
        }
        if (it->children.count() > 0) {
            out.literal('&');
            const int keyStart = out.size();
            out.encoded(key.chars, key.size);
            const int keyLength = out.size() - keyStart;
            out.literal('.');
            writeLevel(out, it->children);
            out.literal("&.", 2);
            // The key's encoded text once more, copied from where it stands.
            out.repeat(keyStart, keyLength);
        }
    }
}

} // namespace

bool KEOStatic::appendQueryString(QByteArray &out, const QHash<QString, QString> &vars,
                                  const QHash<QString, QString> &contextData) {
    const int originalSize = out.size();
    UrlWriter writer(out);
    for (auto it = vars.constBegin(); it != vars.constEnd(); ++it) {
        writer.literal('&');
        writer.encoded(it.key());
        writer.literal('=');
        writer.encoded(it.value());
    }
    if (contextData.count() == 0)
        return writer.finish(originalSize);
    // The same inserts, in the same order, as translateContextData makes.
    const QHash<QString, QString> cleanHash = cleanContextDataHash(contextData);
    QHash<KeyPart, ContextNode> tree;
    for (auto it = cleanHash.constBegin(); it != cleanHash.constEnd(); ++it) {
        const QString &key = it.key();
        // A null key splits into one null part, which adds nothing.
        if (key.isNull())
            continue;
        QHash<KeyPart, ContextNode> *level = &tree;
        const QChar *chars = key.constData();
        const int length = key.size();
        int start = 0;
        for (;;) {
            int end = start;
            while (end < length && chars[end] != QLatin1Char('.'))
                ++end;
            ContextNode &node = (*level)[KeyPart{chars + start, end - start}];
            if (end == length) {
                node.value = &it.value();
                break;
            }
            level = &node.children;
            start = end + 1;
        }
    }
    writer.literal("&c.", 3);
    writeLevel(writer, tree);
    writer.literal("&.c", 3);
    return writer.finish(originalSize);
}
