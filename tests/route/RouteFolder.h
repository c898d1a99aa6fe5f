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

namespace ovalin {

/// A HOME of the test's own, with blanks and a quote in its name, for the children too; and the log.
struct RouteFolder : testing::Test {
    QTemporaryDir folder;
    const QByteArray homeBefore = qgetenv("HOME");
    const QString home = folder.filePath(QStringLiteral("it's a home"));
    Paths paths = Paths::under(home);
    QStringList log;

    RouteFolder() {
        paths.runtimeDir = folder.filePath(QStringLiteral("run"));
        paths.heartbeatFile = paths.runtimeDir + QStringLiteral("/heartbeat");
        QDir().mkpath(home);
        QDir().mkpath(paths.runtimeDir);
        qputenv("HOME", home.toUtf8());
        rememberEnvironment();
        setLogSink([this](const QString& line) { log.append(line); });
    }
    ~RouteFolder() override {
        setLogSink({});
        qputenv("HOME", homeBefore);
        setShellPath(QStringLiteral("/bin/zsh"));
        rememberEnvironment();
    }

    QJsonObject ledger() const { return QJsonDocument::fromJson(readFile(paths.capturesFile)).object(); }
    QStringList ledgerPrompts() const {
        QStringList prompts;
        for (const auto& item : ledger()[QStringLiteral("items")].toArray())
            prompts.append(item[QStringLiteral("prompt")].toString());
        return prompts;
    }
    QStringList queued(const QString& pattern = QStringLiteral("*")) const {
        return QDir(paths.queueDir).entryList({pattern}, QDir::Files | QDir::Hidden);
    }
    QJsonObject queueFile(const QString& id) const {
        return QJsonDocument::fromJson(readFile(paths.queueDir + QLatin1Char('/') + id + QStringLiteral(".json")))
            .object();
    }
    static void program(const QString& path, const QByteArray& lines) {
        writeFile(path, lines);
        QFile::setPermissions(path, QFile::Permissions(0x7755));
    }
    static QueueItem item(const QString& prompt, const QString& mode = QStringLiteral("fetch")) {
        const QDateTime time(QDate(2026, 11, 16), QTime(19, 30), QTimeZone::utc());
        static quint32 number = 0;
        QueueItem made =
            makeQueueItem(prompt, QStringLiteral("excerpt"),
                          {QStringLiteral("Text Editor"), QStringLiteral("org.x.editor"), 1, 2, {}, {}}, mode, time);
        made.id = requestId(time, number++); // many of one millisecond
        return made;
    }
};

} // namespace ovalin
