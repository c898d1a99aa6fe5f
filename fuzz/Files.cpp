// Files that other programs write, too.
#include "Fuzz.h"

#include "base/Config.h"
#include "base/Json.h"
#include "history/AskHistoryEntries.h"
#include "history/ConversationIndex.h"
#include "intent/IntentClassifier.h"
#include "platform/KeyChord.h"
#include "platform/x11/desktop/X11Settings.h"
#include "platform/applications/DesktopEntries.h"
#include "route/CapturesLedger.h"
#include "route/RequestList.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>

using namespace ovalin;
using namespace ovalin::fuzz;
using namespace Qt::StringLiterals;

namespace {

const QDateTime NOW = QDateTime::fromSecsSinceEpoch(1'790'000'000);

QByteArray readBack(const QString& path) {
    QFile file(path);
    require(file.open(QIODevice::ReadOnly), "the file is there");
    return file.readAll();
}

} // namespace

OVALIN_FUZZ(ledger) {
    const QByteArray bytes = rest(in);
    const QString file = fileWith(u"captures.json"_s, bytes);
    const Paths paths = Paths::under(QFileInfo(file).path());
    Paths own = paths;
    own.capturesFile = file;
    const PastRequests before = listRequests(own, NOW);
    for (const PastRequest& request : before.newest.mid(0, 3)) {
        require(requestDetail(own, request.id, NOW).has_value(), "what is listed can be opened");
        std::ignore = storedRequest(own, request.id);
    }
    Subject subject;
    subject.capApp = u"Editor"_s;
    QueueItem item = makeQueueItem(u"new"_s, u"words"_s, subject, u"fetch"_s, NOW);
    const auto old = parseLedger(JsonNumbers(bytes).guarded());
    require(appendToCaptures(file, item).has_value(), "a request is recorded");
    const auto now = parseLedger(JsonNumbers(readBack(file)).guarded());
    require(now && !entryIn(*now, item.id).isEmpty(), "the ledger has the request");
    if (old)
        require(now->value("items"_L1).toArray().size() >=
                    std::min<qsizetype>(500, old->value("items"_L1).toArray().size()),
                "entries of others are kept");
    for (const QFileInfo& aside : QFileInfo(file).dir().entryInfoList({u"captures*"_s}, QDir::Files))
        QFile::remove(aside.filePath());
}

OVALIN_FUZZ(numbers) {
    const QByteArray bytes = rest(in);
    const JsonNumbers numbers(bytes);
    const auto read = parseObject(numbers.guarded());
    if (!read)
        return;
    const QByteArray written = numbers.restored(prettyJson(*read));
    const JsonNumbers again(written);
    const auto reread = parseObject(again.guarded());
    require(reread && again.restored(prettyJson(*reread)) == written, "a second rewrite changes nothing");
}

OVALIN_FUZZ(history) {
    const QString words = text(in), id = text(in);
    auto entries = parseAskHistory(rest(in));
    if (!entries)
        return;
    storeTurn(*entries, {id, u"Editor"_s, {}, words, words, in.ConsumeBool(), {}}, NOW);
    setTitle(*entries, id, words);
    AskHistoryEntries archive;
    putAway(archive, takeSurplus(*entries));
    const auto again = parseAskHistory(askHistoryBytes(*entries));
    require(again && again->size() == entries->size(), "what is stored can be read");
    require(entryWithId(*again, id).has_value(), "the turn is stored");
    for (const QJsonObject& entry : std::as_const(*again)) {
        if (const auto past = pastConversation(entry, NOW))
            require(!past->title.contains(u'\n') && !past->title.isEmpty(), "a title is one line");
    }
    std::ignore = ConversationIndex(*again).find(words, 10);
}

OVALIN_FUZZ(lexicon) {
    const QString prompt = text(in);
    IntentLexicon lexicon = IntentLexicon::load(fileWith(u"intent.json"_s, rest(in)));
    lexicon.record(intentHeadToken(prompt), true);
    const IntentScore score = classifyIntent(prompt, false, &lexicon);
    const IntentLexicon again = IntentLexicon::load(fileWith(u"intent.json"_s, lexicon.serialised()));
    require(again.heads == lexicon.heads, "what is learned is kept");
    require(classifyIntent(prompt, false, &again) == score, "a prompt means the same twice");
}

OVALIN_FUZZ(config) {
    Config config = readConfig(fileWith(u"config"_s, rest(in)));
    const KeyChord chord = hotkeyOf(config);
    require(KeyChord::parse(chord.name()) == chord, "a hotkey is named so that it can be written");
    require(config.complaints.size() < 100, "complaints are few");
}

OVALIN_FUZZ(desktop_entries) {
    const QString locale = text(in), name = text(in);
    const std::string first = in.ConsumeRandomLengthString();
    const QString folder = QFileInfo(fileWith(u"one.desktop"_s, QByteArray::fromStdString(first))).path();
    fileWith(u"two.desktop"_s, rest(in));
    const DesktopEntries entries = DesktopEntries::read({folder}, locale);
    for (const QString& each : {name, u"one"_s, u"two"_s})
        std::ignore = entries.find(each, name, each);
}

OVALIN_FUZZ(xsettings) { std::ignore = lookOf(parseXSettings(rest(in))); }
