#include "CaptureQueue.h"

#include "base/Json.h"
#include "base/WholeFile.h"
#include "base/Text.h"

#include <QDir>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr qsizetype SCREEN_TEXT_LIMIT = 6000;

std::optional<QString> writeShot(const QString& queueDir, const QString& id, const QByteArray& png) {
    if (png.isEmpty())
        return std::nullopt;
    const QString path = QDir(queueDir).absoluteFilePath(id + u".png"_s);
    if (!ensureFolder(queueDir) || !replaceFile(path, png))
        return std::nullopt;
    return path;
}

} // namespace

QString queueFilePath(const QString& queueDir, const QString& id) {
    return QDir(queueDir).absoluteFilePath(id + u".json"_s);
}

void storeScreenshot(const QString& queueDir, QueueItem& item, const RequestShot& shot) {
    if (item.wantsScreenshot() && shot.png)
        item.screenshot = writeShot(queueDir, item.id, *shot.png);
    if (shot.text && !shot.text->isEmpty())
        item.screenText = firstCharacters(*shot.text, SCREEN_TEXT_LIMIT);
}

tl::expected<QString, QString> writeQueueFile(const QString& queueDir, const QueueItem& item) {
    const QString path = queueFilePath(queueDir, item.id);
    return ensureFolder(queueDir).and_then([&] { return replaceFile(path, prettyJson(item.queueEntry())); }).map([&] {
        return path;
    });
}

} // namespace ovalin
