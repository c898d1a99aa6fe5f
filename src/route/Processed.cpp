#include "Processed.h"

#include "CaptureQueue.h"
#include "CapturesLedger.h"
#include "Undelivered.h"

#include "base/SetAside.h"
#include "base/TemporaryFile.h"

#include <QDir>
#include <QFile>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

QString processedFolder(const Paths& paths) { return paths.queueDir + u"/processed"_s; }

const QDateTime& always() {
    static const QDateTime time = QDateTime::fromMSecsSinceEpoch(std::numeric_limits<qint64>::max() / 2);
    return time;
}

} // namespace

void sweepProcessed(const Paths& paths, const QDateTime& before) {
    const auto ledger =
        readWholeFile(paths.capturesFile).and_then([](const FileContents& file) { return parseLedger(file.bytes); });
    sweepFiles(processedFolder(paths), u"cap-*"_s, before, [&](const QString& id) {
        const QJsonObject entry = ledger ? entryIn(*ledger, id) : QJsonObject();
        return !ledger || (!entry.isEmpty() && entry.value(u"status"_s).toString() != QLatin1String("ready"));
    });
}

FileResult<qsizetype> forgetRequests(const Paths& paths) {
    sweepFiles(processedFolder(paths), u"*"_s, always());
    for (const QString& folder : undeliveredFolders(paths.systemDir, paths.runtimeDir)) {
        sweepFiles(folder, u"*"_s, always());
        QDir().rmdir(folder);
    }
    return removeStore(paths.routerLog)
        .and_then([&] {
            return removeCaptures(paths.capturesFile,
                                  [&](const QString& id) { return !QFile::exists(queueFilePath(paths.queueDir, id)); });
        })
        .and_then([&] { return removeStore(paths.capturesFile, StorePart::SetAside); })
        .map([&] { return QDir(paths.queueDir).entryList({u"cap-*.json"_s}, QDir::Files).size(); });
}

} // namespace ovalin
