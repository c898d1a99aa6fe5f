#include "Undelivered.h"

#include "base/Json.h"
#include "base/WholeFile.h"

#include <QDir>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

const QString REQUEST = u"request"_s;
const QString SHOT = u"shot"_s;
const QString SHOT_TEXT = u"shot_text"_s;
const QString REASON = u"reason"_s;

QString fileFor(const QString& folder, const QString& id) { return QDir(folder).absoluteFilePath(id + u".json"_s); }

QByteArray bytesOf(const Undelivered& request, bool withShot) {
    QJsonObject stored{{REQUEST, request.item.queueEntry()}, {REASON, request.reason}};
    if (request.shot.png && withShot)
        stored[SHOT] = QString::fromLatin1(request.shot.png->toBase64());
    if (request.shot.text)
        stored[SHOT_TEXT] = *request.shot.text;
    return prettyJson(stored);
}

std::optional<Undelivered> read(const QString& file) {
    const auto contents = readWholeFile(file);
    const auto stored = contents ? parseObject(contents->bytes) : tl::unexpected(contents.error());
    const auto item = stored ? QueueItem::fromEntry(stored->value(REQUEST).toObject()) : std::nullopt;
    if (!item)
        return std::nullopt;
    const auto text = [&stored](const QString& key) {
        return stored->contains(key) ? std::optional(stored->value(key).toString()) : std::nullopt;
    };
    std::optional<QByteArray> png;
    if (const auto base64 = text(SHOT))
        png = QByteArray::fromBase64(base64->toLatin1());
    return Undelivered{*item, {png, text(SHOT_TEXT)}, stored->value(REASON).toString()};
}

} // namespace

QStringList undeliveredFolders(const QString& systemDir, const QString& runtimeDir) {
    return {systemDir + u"/ovalin-undelivered"_s, runtimeDir + u"/ovalin-undelivered"_s};
}

bool keepUndelivered(const QStringList& folders, const Undelivered& request) {
    for (const bool withShot : {true, false}) {
        for (const QString& folder : folders) {
            if (ensureFolder(folder) && replaceFile(fileFor(folder, request.item.id), bytesOf(request, withShot)))
                return true;
        }
    }
    return false;
}

QList<Undelivered> keptUndelivered(const QStringList& folders) {
    QList<Undelivered> kept;
    for (const QString& folder : folders) {
        for (const QString& name : QDir(folder).entryList({u"cap-*.json"_s}, QDir::Files)) {
            const auto request = read(QDir(folder).filePath(name));
            const auto isSame = [&](const Undelivered& other) { return other.item.id == request->item.id; };
            if (request && std::none_of(kept.begin(), kept.end(), isSame))
                kept.append(*request);
        }
    }
    std::sort(kept.begin(), kept.end(), [](const Undelivered& one, const Undelivered& other) {
        return timeOfId(one.item.id) < timeOfId(other.item.id);
    });
    return kept;
}

void forgetUndelivered(const QStringList& folders, const QString& id) {
    for (const QString& folder : folders) {
        QFile::remove(fileFor(folder, id));
        QDir().rmdir(folder); // once it is empty
    }
}

} // namespace ovalin
