#pragma once

#include "base/children/ChildProcess.h"
#include "base/Log.h"
#include "base/Paths.h"
#include "route/QueueItem.h"
#include "support/TestDesk.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTimeZone>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace ovalin {

/// A HOME of the test's own, with blanks and a quote in its name, for the children too; and the log.
struct RouteFolder : testing::Test {
    QTemporaryDir folder;
    const QByteArray homeBefore = qgetenv("HOME");
    const QString home = folder.filePath(u"it's a home"_s);
    Paths paths = Paths::under(home);
    QStringList log;

    RouteFolder() {
        paths.runtimeDir = folder.filePath(u"run"_s);
        paths.heartbeatFile = paths.runtimeDir + u"/heartbeat"_s;
        QDir().mkpath(home);
        QDir().mkpath(paths.runtimeDir);
        qputenv("HOME", home.toUtf8());
        rememberEnvironment();
        setLogSink([this](const QString& line) { log.append(line); });
    }
    ~RouteFolder() override {
        setLogSink({});
        qputenv("HOME", homeBefore);
        setShellPath(u"/bin/zsh"_s);
        rememberEnvironment();
    }

    QJsonObject ledger() const { return QJsonDocument::fromJson(readFile(paths.capturesFile)).object(); }
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
        return QJsonDocument::fromJson(readFile(paths.queueDir + QLatin1Char('/') + id + u".json"_s)).object();
    }
    static void program(const QString& path, const QByteArray& lines) {
        writeFile(path, lines);
        QFile::setPermissions(path, QFile::Permissions(0x7755));
    }
    static QueueItem item(const QString& prompt, const QString& mode = u"fetch"_s) {
        const QDateTime time(QDate(2026, 11, 16), QTime(19, 30), QTimeZone::utc());
        static quint32 number = 0;
        QueueItem made =
            makeQueueItem(prompt, u"excerpt"_s, {u"Text Editor"_s, u"org.x.editor"_s, 1, 2, {}, {}}, mode, time);
        made.id = requestId(time, number++); // many of one millisecond
        return made;
    }
};

} // namespace ovalin
