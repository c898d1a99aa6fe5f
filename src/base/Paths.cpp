#include "Paths.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

QString findResources() {
    const QDir binary(programFolder());
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
    const QString inTmp = u"/tmp/ovalin-%1"_s.arg(::getuid());
    for (const QString& folder : {qEnvironmentVariable("XDG_RUNTIME_DIR"), u"/run/user/%1"_s.arg(::getuid())}) {
        if (!folder.isEmpty() && ours(QFileInfo(folder)))
            return folder;
    }
    const QFileInfo info(inTmp);
    const bool free = !info.exists() && !info.isSymLink();
    return free || (ours(info) && !info.isSymLink()) ? inTmp : stateDir;
}

} // namespace

QString programFolder() {
    const QDir here(QCoreApplication::applicationDirPath());
    if (here.path().endsWith(u"/libexec"_s))
        return QDir::cleanPath(here.filePath(u".."_s));
    return here.path().endsWith(u"/libexec/ovalin"_s) ? QDir::cleanPath(here.filePath(u"../../bin"_s)) : here.path();
}

Paths Paths::under(const QString& home) {
    const QDir root(home);
    Paths paths;
    paths.home = root.absolutePath();
    paths.systemDir = root.absoluteFilePath(u"CLAUDE/system"_s);
    paths.capturesFile = paths.systemDir + u"/captures.json"_s;
    paths.queueDir = paths.systemDir + u"/capture-queue"_s;
    paths.binDir = root.absoluteFilePath(u".claude/bin"_s);
    paths.routerScript = paths.binDir + u"/capture-router.sh"_s;
    paths.routerLog = root.absoluteFilePath(u".claude/logs/capture-router.log"_s);
    paths.askScript = paths.binDir + u"/ask-stream.sh"_s;
    paths.searchScript = paths.binDir + u"/websearch-google"_s;
    paths.heartbeatFile = u"/tmp/ovalin.heartbeat"_s;
    paths.stateDir = root.absoluteFilePath(u".cache/ovalin"_s);
    paths.runtimeDir = findRuntimeDir(paths.stateDir);
    paths.resourcesDir = findResources();
    return paths;
}

} // namespace ovalin
