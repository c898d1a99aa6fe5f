#include "SpeechFiles.h"

#include <QDir>
#include <QFileInfo>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

bool isModel(const QString& folder) {
    return QFileInfo::exists(folder + u"/am/final.mdl"_s) || QFileInfo::exists(folder + u"/final.mdl"_s);
}

} // namespace

QString SpeechFiles::whatIsMissing() const {
    const QString engine = u"the speech engine (libvosk.so)"_s, model = u"a model of the language"_s;
    if (library.isEmpty())
        return (models.isEmpty() ? engine + u" and "_s + model + u" are"_s : engine + u" is"_s) + u" missing"_s;
    return models.isEmpty() ? model + u" is missing"_s : QString();
}

SpeechFiles findSpeechFiles(const QString& home, const QString& programFolder) {
    SpeechFiles files;
    const QDir own(home + u"/.local/share/ovalin/models"_s);
    for (const QString& name : own.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
        if (isModel(own.filePath(name)))
            files.models.append(own.filePath(name));
    }
    for (const QString& bundle : {home + u"/.local/share/ovalin/speech"_s, programFolder + u"/speech"_s,
                                  QDir::cleanPath(programFolder + u"/../share/ovalin/speech"_s)}) {
        const QString library = bundle + u"/lib/libvosk.so"_s, model = bundle + u"/model"_s;
        if (files.library.isEmpty() && QFileInfo::exists(library))
            files.library = library;
        if (isModel(model))
            files.models.append(model);
    }
    return files;
}

} // namespace ovalin
