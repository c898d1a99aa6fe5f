#include "RuntimeScripts.h"

#include "base/WholeFile.h"
#include "base/Log.h"

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

bool taken(const QString& path) {
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}

/// Whole or not at all, and never over a file that came between.
FileResult<Replaced> copyScript(const QString& from, const QString& to) {
    return readWholeFile(from).and_then([&to](const FileContents& script) -> FileResult<Replaced> {
        if (!script.version.exists)
            return tl::unexpected(u"gone"_s);
        ReplaceOptions options;
        options.newMode = 0755;
        options.followLinks = false;
        return replaceIfUnchanged(to, FileContents{}, script.bytes, options);
    });
}

} // namespace

void installBundledScripts(const QString& resourcesDir, const QString& binDir) {
    if (resourcesDir.isEmpty())
        return;
    const QDir source(resourcesDir + u"/bin"_s);
    const QDir destination(binDir);
    std::ignore = ensureFolder(binDir); // the copies say what is wrong with it
    int installed = 0;
    // Without QDir::Hidden the listing leaves out names that begin with a dot.
    for (const QString& name : source.entryList(QDir::AllEntries | QDir::NoDotAndDotDot)) {
        if (taken(destination.filePath(name)))
            continue;
        const auto copied = copyScript(source.filePath(name), destination.filePath(name));
        if (!copied)
            logLine(u"Ovalin: bundled script install failed for "_s + name);
        else if (*copied == Replaced::Done)
            ++installed;
    }
    if (installed > 0)
        logLine(u"Ovalin: installed %1 bundled runtime scripts"_s.arg(installed));
}

} // namespace ovalin
