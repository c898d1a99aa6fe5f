#include "CommitLog.h"

#include "base/Text.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

QString wordFor(OvalinIntent intent) {
    switch (intent) {
    case OvalinIntent::ask:
        return u"ask"_s;
    case OvalinIntent::doIt:
        return u"do"_s;
    case OvalinIntent::neutral:
        break;
    }
    return u"neutral"_s;
}

bool endsInsideLine(QFile& file) {
    char last = '\n';
    return file.size() > 0 && file.seek(file.size() - 1) && file.getChar(&last) && last != '\n';
}

} // namespace

std::optional<IntentCommit> intentCommit(QStringView prompt, bool committedAsk, OvalinIntent lastPredicted,
                                         bool modeLockedByUser) {
    const QString head = intentHeadToken(prompt);
    if (head.isEmpty())
        return {};
    const OvalinIntent committed = committedAsk ? OvalinIntent::ask : OvalinIntent::doIt;
    const bool against = lastPredicted != OvalinIntent::neutral && lastPredicted != committed;
    return IntentCommit{head, wordFor(lastPredicted), wordFor(committed), modeLockedByUser && against};
}

QString commitLogPath(const QString& systemDir) { return systemDir + u"/ovalin-intent-log.jsonl"_s; }

bool logCommit(const QString& path, const IntentCommit& commit, const QDateTime& time) {
    const QFileInfo place(path);
    // A pipe without a reader would keep us waiting for ever.
    if (place.exists() && !place.isFile())
        return false;
    const QJsonObject line{{u"ts"_s, isoTimestamp(time)},
                           {u"head"_s, commit.head},
                           {u"predicted"_s, commit.predicted},
                           {u"committed"_s, commit.committed},
                           {u"overridden"_s, commit.overridden}};
    QByteArray bytes = QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n';

    QFile file(path);
    if (!file.open(QIODevice::ReadWrite | QIODevice::Append | QIODevice::Unbuffered,
                   QFile::ReadOwner | QFile::WriteOwner))
        return false;
    // A line that a full disk or a crash cut short must not swallow this one.
    if (endsInsideLine(file))
        bytes.prepend('\n');
    return file.write(bytes) == bytes.size();
}

} // namespace ovalin
