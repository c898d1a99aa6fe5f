#include "Paths.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <unistd.h>

namespace ovalin {

namespace {

QString findResources() {
    const QDir binary(QCoreApplication::applicationDirPath());
    for (const char* candidate : {"resources", "../share/ovalin"}) {
        const QFileInfo folder(binary.filePath(QString::fromLatin1(candidate)));
        if (folder.isDir())
            return folder.canonicalFilePath();
    }
    return {};
}

QString findRuntimeDir() {
    const QString given = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!given.isEmpty() && QFileInfo(given).isDir())
        return given;
    return QStringLiteral("/tmp/ovalin-%1").arg(::getuid());
}

} // namespace

Paths Paths::under(const QString& home) {
    const QDir root(home);
    Paths paths;
    paths.home = root.absolutePath();
    paths.systemDir = root.absoluteFilePath(QStringLiteral("CLAUDE/system"));
    paths.capturesFile = paths.systemDir + QStringLiteral("/captures.json");
    paths.queueDir = paths.systemDir + QStringLiteral("/capture-queue");
    paths.binDir = root.absoluteFilePath(QStringLiteral(".claude/bin"));
    paths.routerScript = paths.binDir + QStringLiteral("/capture-router.sh");
    paths.routerLog = root.absoluteFilePath(QStringLiteral(".claude/logs/capture-router.log"));
    paths.askScript = paths.binDir + QStringLiteral("/ask-stream.sh");
    paths.searchScript = paths.binDir + QStringLiteral("/websearch-google");
    paths.heartbeatFile = QStringLiteral("/tmp/ovalin.heartbeat");
    paths.runtimeDir = findRuntimeDir();
    paths.resourcesDir = findResources();
    return paths;
}

} // namespace ovalin
