#pragma once

#include "base/children/ChildProcess.h"
#include "base/Paths.h"
#include "route/QueueItem.h"
#include "support/Testing.h"

namespace ovalin {

/// A HOME of the test's own, with blanks and a quote in its name, for the children too; and the log.
struct RouteFolder : testing::Test {
    QTemporaryDir folder;
    const QByteArray homeBefore = qgetenv("HOME");
    const QString home = folder.filePath(u"it's a home"_s);
    Paths paths = Paths::under(home);
    LogRecorder log;

    RouteFolder() {
        paths.runtimeDir = folder.filePath(u"run"_s);
        paths.heartbeatFile = paths.runtimeDir + u"/heartbeat"_s;
        QDir().mkpath(home);
        QDir().mkpath(paths.runtimeDir);
        qputenv("HOME", home.toUtf8());
        rememberEnvironment();
    }
    ~RouteFolder() override {
        qputenv("HOME", homeBefore);
        setShellPath(u"/bin/zsh"_s);
        rememberEnvironment();
    }

    QJsonObject ledger() const { return readJson(paths.capturesFile); }
    QStringList ledgerPrompts() const {
        QStringList prompts;
        for (const auto& item : ledger()[u"items"_s].toArray())
            prompts.append(item[u"prompt"_s].toString());
        return prompts;
    }
    QStringList queued(const QString& pattern = u"*"_s) const {
        return QDir(paths.queueDir).entryList({pattern}, QDir::Files | QDir::Hidden);
    }
    QJsonObject queueFile(const QString& id) const {
        return readJson(paths.queueDir + QLatin1Char('/') + id + u".json"_s);
    }
    static QueueItem item(const QString& prompt, const QString& mode = u"fetch"_s) {
        const QDateTime time(QDate(2026, 11, 16), QTime(19, 30), QTimeZone::utc());
        static quint32 number = 0;
        QueueItem made = makeQueueItem(prompt, u"excerpt"_s,
                                       {u"Text Editor"_s, u"org.x.editor"_s, 1, WindowId{2}, {}, {}}, mode, time);
        // Many of one millisecond, which is not that of a test that runs beside this one.
        made.id = requestId(time.addMSecs(::getpid() % 60000), number++);
        return made;
    }
};

} // namespace ovalin
