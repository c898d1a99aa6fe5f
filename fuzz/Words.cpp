// Texts of other programs: titles, scripts, clipboards.
#include "Fuzz.h"

#include "base/Text.h"
#include "osascript/Script.h"
#include "platform/selections/SelectionRules.h"
#include "transform/LiteralReplacement.h"

using namespace ovalin;
using namespace ovalin::fuzz;
using namespace Qt::StringLiterals;

OVALIN_FUZZ(words) {
    constexpr qsizetype MOST = 20;
    const QString words = QString::fromUtf8(rest(in));
    const QString line = onOneLine(words, MOST);
    require(characterCount(line) <= MOST && line.size() <= 12 * MOST, "a line is bounded");
    for (const QChar letter : line)
        require(letter.category() != QChar::Other_Control && letter != QChar(0x202e), "a line is harmless");
    require(onOneLine(line, MOST) == line, "a line stays as it is");
    require(inPlainLines(words).size() == words.size(), "places stay where they are");
    require(words.startsWith(firstCharacters(words, MOST)), "the first characters are the first");
    const QString quoted = shellQuoted(words);
    require(quoted.mid(1).chopped(1).split(u"'\\''"_s).join(u'\'') == words &&
                quoted.count(u'\'') == 2 + 3 * words.count(u'\''),
            "a quoted text is one word of the shell");
    std::ignore = literalReplacement(words);
    std::ignore = folded(words);
}

OVALIN_FUZZ(osascript) {
    const QString words = QString::fromUtf8(rest(in));
    std::ignore = parseScript(words);
    QString literal = words;
    literal.replace(u'\\', u"\\\\"_s).replace(u'"', u"\\\""_s);
    const auto script = parseScript(u"display notification \"%1\" with title \"x\""_s.arg(literal));
    require(script && std::get<NotificationScript>(*script).body == words, "a quoted text is nothing but text");
}

OVALIN_FUZZ(clipboard) {
    QByteArrayList offered;
    for (int left = in.ConsumeIntegralInRange(0, 40); left > 0; --left)
        offered += QByteArray::fromStdString(in.ConsumeRandomLengthString(60));
    const QByteArrayList taken = targetsToTake(offered);
    for (const QByteArray& target : taken)
        require(taken.count(target) == 1 && offered.contains(target), "each target is taken once");
    std::ignore = furtherPictures(offered);
    for (const QByteArray& type : {QByteArray("STRING"), QByteArray("UTF8_STRING"), offered.value(0)}) {
        const auto text = selectionText(type, 8, rest(in));
        require(!text || !text->isEmpty(), "a selection is a text or none");
    }
}
