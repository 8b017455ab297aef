// Context data from the application, through cleaning, the tree and the bracket text, read back
// by the collector's decoder: every entry with a value must come back under its cleaned key,
// byte for byte, and the hit must stay well formed whatever the keys and values hold; the hit
// path's writer must give the very same text.
// Input: lines, alternately key and value.
#include "HitDecoder.h"
#include "KEOStatic.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const QList<QByteArray> lines =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), static_cast<int>(size))
            .split('\n');
    QHash<QString, QString> context;
    for (int i = 0; i + 1 < lines.size(); i += 2) {
        // The decoder follows a bounded depth; a real key is a few parts deep.
        if (lines[i].count('.') > 500)
            return 0;
        context.insert(QString::fromUtf8(lines[i]), QString::fromUtf8(lines[i + 1]));
    }
    const std::string query =
        ("AQB=1&ndh=1" + KEOStatic::serializeToQueryString({}, context) + "&AQE=1").toStdString();
    const collector::DecodedHit hit = collector::decodeHit("/b/ss/r/0/BBN-4.0.0/s1", query);
    if (!hit.wellFormed) {
        fprintf(stderr, "malformed (%s): %s\n", hit.error.c_str(), query.c_str());
        abort();
    }
    // The hit path's writer gives the same text byte for byte, with the pairs as top-level
    // parameters too.
    QByteArray written;
    const QByteArray text = KEOStatic::serializeToQueryString(context, context).toUtf8();
    if (!KEOStatic::appendQueryString(written, context, context) || written != text) {
        fprintf(stderr, "the writer gave %s for %s\n", written.constData(), text.constData());
        abort();
    }
    const QHash<QString, QString> cleaned = KEOStatic::cleanContextDataHash(context);
    for (auto entry = cleaned.cbegin(); entry != cleaned.cend(); ++entry) {
        // An empty value writes no pair, by design.
        if (entry.value().isEmpty())
            continue;
        const std::string key = entry.key().toStdString();
        const std::optional<std::string> back = hit.ctx(key);
        if (!back || *back != entry.value().toStdString()) {
            fprintf(stderr, "key \"%s\" lost its value in: %s\n", key.c_str(), query.c_str());
            abort();
        }
    }
    return 0;
}
