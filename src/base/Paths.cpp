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

// `su` and `sudo -E` hand down the runtime folder of somebody else, and a folder in /tmp may have been put there.
QString findRuntimeDir(const QString& stateDir) {
    const auto ours = [](const QFileInfo& folder) { return folder.isDir() && folder.ownerId() == ::getuid(); };
    const QString inTmp = QStringLiteral("/tmp/ovalin-%1").arg(::getuid());
    for (const QString& folder :
         {qEnvironmentVariable("XDG_RUNTIME_DIR"), QStringLiteral("/run/user/%1").arg(::getuid())}) {
        if (!folder.isEmpty() && ours(QFileInfo(folder)))
            return folder;
    }
    const QFileInfo info(inTmp);
    const bool free = !info.exists() && !info.isSymLink();
    return free || (ours(info) && !info.isSymLink()) ? inTmp : stateDir;
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
    paths.stateDir = root.absoluteFilePath(QStringLiteral(".cache/ovalin"));
    paths.runtimeDir = findRuntimeDir(paths.stateDir);
    paths.resourcesDir = findResources();
    return paths;
}

} // namespace ovalin
