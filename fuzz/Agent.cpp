// What the agent, its search and its answers bring.
#include "Fuzz.h"

#include "ask/AnswerLinks.h"
#include "ask/LineReader.h"
#include "ask/StreamProtocol.h"
#include "ask/WebSearch.h"
#include "panel/MarkdownMarks.h"
#include "panel/Sentences.h"
#include "panel/Transcript.h"

#include <QTextBlock>

#include <algorithm>
#include <cstring>

using namespace ovalin;
using namespace ovalin::fuzz;
using namespace Qt::StringLiterals;

namespace {

/// What a chat learns of these bytes, when they come in pieces of at most so many.
std::vector<StreamEvent> eventsOf(const QByteArray& bytes, size_t limit, const std::vector<size_t>& pieces) {
    LineReader reader(limit);
    StreamProtocol protocol;
    std::vector<StreamEvent> events;
    size_t turn = 0;
    for (auto left = static_cast<size_t>(bytes.size()); left > 0;) {
        const std::span<char> room = reader.room();
        const size_t most = pieces.empty() ? left : std::max<size_t>(1, pieces[turn++ % pieces.size()]);
        const size_t count = std::min({left, room.size(), most});
        std::memcpy(room.data(), bytes.constEnd() - left, count);
        left -= count;
        reader.added(count, [&](std::string_view line) {
            protocol.handleAskLine(line, [&](StreamEvent&& event) { events.push_back(std::move(event)); });
        });
    }
    return events;
}

/// As a text document keeps it: no character that means something else there.
QString plain(QString text) {
    for (QChar& letter : text) {
        const bool kept = letter == u'\n' || (letter.isPrint() && letter != QChar::ObjectReplacementCharacter);
        letter = kept ? letter : QChar(u'x');
    }
    return text;
}

QString shownBy(const Transcript& view) {
    constexpr int CONTINUES = 1; // a block that was cut
    QString shown;
    for (QTextBlock block = view.document()->begin(); block.isValid(); block = block.next())
        shown += (shown.isEmpty() || block.userState() == CONTINUES ? QString() : u"\n"_s) + block.text();
    return shown.replace(QChar::LineSeparator, u'\n');
}

} // namespace

OVALIN_FUZZ(stream) {
    const auto limit = in.ConsumeIntegralInRange<size_t>(16, 4096);
    std::vector<size_t> pieces(in.ConsumeIntegralInRange<size_t>(1, 8));
    for (size_t& piece : pieces)
        piece = in.ConsumeIntegralInRange<size_t>(1, 300);
    const QByteArray bytes = rest(in);
    require(eventsOf(bytes, limit, pieces) == eventsOf(bytes, limit, {}), "lines do not depend on how they arrive");
}

OVALIN_FUZZ(links) {
    const QString answer = QString::fromUtf8(rest(in));
    qsizetype end = 0;
    for (const LinkSpan& span : attributedAnswer(answer)) {
        require(span.from >= end && span.length > 0, "links stand in order");
        end = span.from + span.length;
        const QString opened = openable(span.target);
        require(opened.isEmpty() || !opened.contains(u'\n'), "what is opened is one line");
    }
    require(end <= answer.size(), "links stand in the answer");
    std::ignore = extractLinkPairs(answer);
}

OVALIN_FUZZ(transcript) {
    Transcript view(nullptr);
    view.resize(300, 200);
    view.beginAnswer();
    QString answer;
    while (in.remaining_bytes() > 0 && answer.size() < 50'000) {
        const int step = in.ConsumeIntegralInRange(0, 9);
        if (step == 0) {
            answer.truncate(in.ConsumeIntegralInRange<qsizetype>(0, answer.size()));
            view.truncateAnswer(answer.size());
        } else {
            const QString more = plain(text(in)).repeated(in.ConsumeBool() ? 1 : 40);
            view.appendAnswer(more);
            answer += more;
        }
        if (in.ConsumeBool())
            view.flush();
    }
    view.flush();
    require(shownBy(view) == u"TORVI\n"_s + answer, "the answer shows as it came");
    const std::vector<LinkSpan> spans = attributedAnswer(answer);
    QString linked = answer;
    QHash<QString, QString> dead;
    for (auto span = spans.rbegin(); span != spans.rend(); ++span) {
        linked.replace(span->from, span->length, span->shown);
        dead.insert(span->target, u"https://example.org/"_s);
    }
    view.linkify(spans);
    view.flush();
    view.repairLinks(dead);
    require(shownBy(view) == u"TORVI\n"_s + linked, "links stand in their places");
}

OVALIN_FUZZ(speech) {
    const QString first = text(in), second = text(in);
    Sentences whole, pieces;
    whole.add(first + second);
    pieces.add(first);
    const QString early = pieces.takeComplete();
    pieces.add(second);
    std::ignore = withoutMarks(whole.takeComplete() + whole.takeRest());
    require((early + pieces.takeComplete() + pieces.takeRest()).size() <= first.size() + second.size(),
            "nothing is said twice");
}

OVALIN_FUZZ(search) {
    const QString question = text(in);
    const QString results = searchResultText(rest(in));
    require(groundingBlock(question, results).contains(results), "the agent is told what was found");
    require(!googleSearchURL(question).contains(u' '), "an address has no blanks");
}
