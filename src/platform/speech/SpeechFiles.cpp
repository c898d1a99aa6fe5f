#include "SpeechFiles.h"

#include <QDir>
#include <QFileInfo>

namespace ovalin {

namespace {

bool isModel(const QString& folder) {
    return QFileInfo::exists(folder + QStringLiteral("/am/final.mdl")) ||
           QFileInfo::exists(folder + QStringLiteral("/final.mdl"));
}

} // namespace

SpeechFiles findSpeechFiles(const QString& home, const QString& programFolder) {
    SpeechFiles files;
    const QDir own(home + QStringLiteral("/.local/share/ovalin/models"));
    for (const QString& name : own.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
        if (isModel(own.filePath(name)))
            files.models.append(own.filePath(name));
    }
    for (const QString& bundle :
         {home + QStringLiteral("/.local/share/ovalin/speech"), programFolder + QStringLiteral("/speech"),
          QDir::cleanPath(programFolder + QStringLiteral("/../share/ovalin/speech"))}) {
        const QString library = bundle + QStringLiteral("/lib/libvosk.so"), model = bundle + QStringLiteral("/model");
        if (files.library.isEmpty() && QFileInfo::exists(library))
            files.library = library;
        if (isModel(model))
            files.models.append(model);
    }
    return files;
}

} // namespace ovalin
