#include "SpokenSentences.h"

#include "DictationText.h"

#include <QSet>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

using Words = QSet<QString>;

Words words(const char* list) {
    const QStringList all = QString::fromLatin1(list).split(u' ');
    return {all.begin(), all.end()};
}

/// A sentence hardly ends with one of them.
const Words& open() {
    static const Words all = words(
        "a an the my your our their its every and or but because if while although unless until whether than as "
        "of from into onto with without by between during against be been being could should would might may must "
        "i we they he she i'm we're they're you're it's that's i'll we'll i'd i've we've very really quite don't "
        "can't won't uh um er");
    return all;
}

/// It goes on with one of them.
const Words& goesOn() {
    static const Words all = words("and or because which than of to with without into onto from until unless although "
                                   "whereas whose that for by as at in on");
    return all;
}

const Words& auxiliaries() {
    static const Words all = words(
        "is are am was were do does did can could will would shall should may might must has have had isn't aren't "
        "wasn't weren't don't doesn't didn't can't couldn't won't wouldn't shouldn't hasn't haven't hadn't");
    return all;
}

const Words& subjects() {
    static const Words all = words(
        "i you he she it we they this that these those there the a an my your his her our their its anyone anybody "
        "someone somebody everyone everybody anything something everything");
    return all;
}

bool isWh(const QString& word) {
    static const Words all = words("what who whom whose which when where why how what's who's where's how's when's");
    return all.contains(word);
}

/// "could you", "is the", "do they"; "do the dishes" and "have a look" are orders.
bool inverted(const QStringList& sentence, qsizetype at) {
    const QString verb = sentence.value(at), subject = sentence.value(at + 1);
    static const Words orders = words("do have"), persons = words("i you we they these those people");
    return auxiliaries().contains(verb) && (orders.contains(verb) ? persons : subjects()).contains(subject);
}

bool isQuestion(const QStringList& sentence) {
    static const Words before = words("and but so or well okay ok yes no hey oh then now also please um uh");
    qsizetype at = 0;
    while (at + 2 < sentence.size() && before.contains(sentence[at]))
        ++at;
    const QString first = sentence.value(at), second = sentence.value(at + 1);
    const qsizetype last = sentence.size() - 1;
    if (inverted(sentence, at) || (last > at + 2 && auxiliaries().contains(sentence[last - 1]) &&
                                   sentence[last - 1].endsWith(u"n't"_s) && subjects().contains(sentence[last])))
        return true; // the second: "…, isn't it"
    if (!isWh(first))
        return false;
    if (first.contains(u'\'') || first == u"why"_s || first == u"whose"_s || sentence.size() == at + 1)
        return true;
    // "when I come home", "what a day", "what I need is …": no question without its verb before its subject.
    for (qsizetype verb = at + 1; verb < std::min(at + 5, sentence.size()); ++verb) {
        if (subjects().contains(sentence[verb]))
            return false;
        if (auxiliaries().contains(sentence[verb]))
            return true;
    }
    static const Words things = words("what who which"), heads = words("about many much to come long far often");
    return things.contains(first) || (first == u"how"_s && heads.contains(second));
}

QString capital(QString word) { return word.isEmpty() ? word : word.replace(0, 1, word.first(1).toUpper()); }

QString written(const QString& word) {
    static const Words names = words(
        "i i'm i'll i've i'd monday tuesday wednesday thursday friday saturday sunday january february april june july "
        "september october november december english");
    return names.contains(word) ? capital(word) : word;
}

bool startsAnew(const QString& base) {
    const QString before = base.trimmed();
    return before.isEmpty() || base.endsWith(u'\n') || u".!?"_s.contains(before.back());
}

} // namespace

QString asSentences(const QString& base, const QStringList& said,
                    const std::function<bool(const QString& text)>& standsAlone) {
    QString text = base, plain = base;
    for (const QString& utterance : said)
        plain = withWords(plain, utterance);
    const bool alone = standsAlone(plain) && !isQuestion(plain.split(u' ', Qt::SkipEmptyParts));
    bool begins = startsAnew(base) && !alone;
    QStringList sentence;
    for (qsizetype i = 0; i < said.size(); ++i) {
        const QStringList utterance = said[i].split(u' ', Qt::SkipEmptyParts);
        for (const QString& word : utterance) {
            text = withWords(text, begins ? capital(word) : written(word));
            begins = false;
        }
        sentence += utterance;
        const QString next = said.value(i + 1).section(u' ', 0, 0);
        if (sentence.isEmpty() || alone || open().contains(sentence.last()) || goesOn().contains(next))
            continue;
        text += isQuestion(sentence) ? u'?' : u'.';
        sentence.clear();
        begins = true;
    }
    return text;
}

} // namespace ovalin
