#include "AnswerLinks.h"

#include <QRegularExpression>
#include <QUrl>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

struct MarkdownLink {
    qsizetype begin;
    qsizetype end;
    LinkPair pair;
};

/// Walks over the matches of \[([^\]]+)\]\(([^)\s]+)\). Not that expression itself: it takes quadratic time over a long
/// run of opening brackets.
class MarkdownLinks {
public:
    explicit MarkdownLinks(QStringView answer)
        : text(answer) {}

    [[nodiscard]] bool next(MarkdownLink& link) {
        for (qsizetype open = text.indexOf(QLatin1Char('['), at); open >= 0;
             open = text.indexOf(QLatin1Char('['), at)) {
            const qsizetype close = text.indexOf(QLatin1Char(']'), open);
            if (close < 0)
                return false;
            // Every bracket opened before `close` has this same rest, so none of them needs a look of its own.
            at = close;
            const qsizetype address = close + 2;
            if (close == open + 1 || close + 1 >= text.size() || text[close + 1] != QLatin1Char('('))
                continue;
            const qsizetype end = endOfAddress(address);
            if (end == address || end >= text.size() || text[end] != QLatin1Char(')'))
                continue;
            at = end + 1;
            link = {
                open,
                at,
                {text.sliced(open + 1, close - open - 1).toString(), text.sliced(address, end - address).toString()}};
            return true;
        }
        return false;
    }

private:
    /// The first closing parenthesis or white space from there on. Kept, since many openings may share one end.
    qsizetype endOfAddress(qsizetype from) {
        for (addressEnd = std::max(addressEnd, from); addressEnd < text.size(); ++addressEnd) {
            if (text[addressEnd] == QLatin1Char(')') || text[addressEnd].isSpace())
                break;
        }
        return addressEnd;
    }

    QStringView text;
    qsizetype at = 0;
    qsizetype addressEnd = 0;
};

/// http and https addresses, www names and mail addresses. All repetitions are bounded or possessive, and no mail
/// address starts inside of what could be one, which keeps this linear.
const QRegularExpression& bareAddress() {
    static const QRegularExpression expression = [] {
        const QString port = QStringLiteral(R"((?::\d{1,5})?)");
        // Quotation marks, CJK punctuation and invisible formatting characters end an address.
        const QString path = QStringLiteral(
            R"((?:[/?#][^\s\p{Cc}\p{Cf}<>"`|\\\x{AB}\x{BB}\x{201C}-\x{201F}\x{3000}-\x{3003}\x{3008}-\x{3011})"
            R"(\x{FF01}\x{FF08}\x{FF09}\x{FF0C}\x{FF1A}\x{FF1B}\x{FF1F}]*+)?+)");
        const QString labels = QStringLiteral(R"((?:[\p{L}\p{M}\p{N}-]{1,63}\.){1,10}\p{L}[\p{L}\p{M}]{1,62})");
        const QString whole = QStringLiteral(R"((?![\p{L}\p{M}\p{N}@]))");
        return QRegularExpression(
            QStringLiteral(R"((?<![A-Za-z0-9@/.%+-])(?:)") +
                // scheme, user information, an IPv6 address or a host
                QStringLiteral(R"(https?://(?:[\w.%+:~-]{1,64}@)?(?:\[[0-9a-f:.]{2,64}\]|)"
                               R"([\p{L}\p{N}](?:[\p{L}\p{M}\p{N}._-]{0,253}[\p{L}\p{M}\p{N}])?))") +
                whole + port + path + QStringLiteral(R"(|(?<www>www\.)") + labels + whole + port + path +
                QStringLiteral(R"()|(?<mail>(?<!_)[A-Z0-9._%+-]{1,64}@)") + labels + whole + u"))"_s,
            QRegularExpression::CaseInsensitiveOption | QRegularExpression::UseUnicodePropertiesOption);
    }();
    return expression;
}

/// How much of a found address belongs to it: not the punctuation of the sentence, not a bracket that was opened before
/// it, not the emphasis mark it stands in.
qsizetype trimmedLength(QStringView address, QChar before) {
    static constexpr std::array<std::pair<char16_t, char16_t>, 3> BRACKETS{{{u'(', u')'}, {u'[', u']'}, {u'{', u'}'}}};
    std::array<qsizetype, 3> surplus{}; // closing ones less opening ones
    for (size_t i = 0; i < BRACKETS.size(); ++i)
        surplus[i] = address.count(BRACKETS[i].second) - address.count(BRACKETS[i].first);
    qsizetype length = address.size();
    for (; length > 0; --length) {
        const QChar last = address[length - 1];
        if (QStringView(u".,:;!?'\u2019\u2026\u060C\u061B\u061F\u06D4\u0964").contains(last) ||
            (QStringView(u"*_~").contains(last) && last == before))
            continue;
        const auto bracket =
            std::find_if(BRACKETS.begin(), BRACKETS.end(), [last](const auto& pair) { return pair.second == last; });
        if (bracket == BRACKETS.end() || surplus[static_cast<size_t>(bracket - BRACKETS.begin())]-- <= 0)
            break;
    }
    return length;
}

/// `from`: where the text stands in the answer.
void linkifyBareURLs(std::vector<LinkSpan>& spans, QStringView plain, qsizetype from) {
    const QString text = plain.toString();
    // Half a surrogate pair would end the search; its stand-in has the same length.
    const QString searched = text.isValidUtf16() ? text : QString::fromUtf8(text.toUtf8());
    for (auto matches = bareAddress().globalMatch(searched); matches.hasNext();) {
        const QRegularExpressionMatch match = matches.next();
        const qsizetype start = match.capturedStart();
        const qsizetype length = trimmedLength(match.capturedView(), start > 0 ? text[start - 1] : QChar());
        const QString address = text.sliced(start, length);
        const QString target = match.hasCaptured(u"www")    ? u"http://"_s + address
                               : match.hasCaptured(u"mail") ? u"mailto:"_s + address
                                                            : address;
        if (QUrl(target).isValid())
            spans.push_back({from + start, length, address, target});
    }
}

// A line end in a head of the mail would begin another one.
QString oneLine(const QString& encoded) {
    static const QRegularExpression lineEnd(u"%0[aAdD]"_s);
    return QString(encoded).remove(lineEnd);
}

QString mail(const QUrl& url) {
    QStringList kept;
    for (const QString& item : url.query(QUrl::FullyEncoded).split(QLatin1Char('&'))) {
        const QString name = item.section(QLatin1Char('='), 0, 0).toLower();
        if (name == QLatin1String("subject") || name == QLatin1String("body"))
            kept.append(name == QLatin1String("body") ? item : oneLine(item));
    }
    const QString address = u"mailto:"_s + oneLine(url.path(QUrl::FullyEncoded));
    return kept.isEmpty() ? address : address + QLatin1Char('?') + kept.join(QLatin1Char('&'));
}

} // namespace

std::vector<LinkPair> extractLinkPairs(const QString& answer) {
    std::vector<LinkPair> pairs;
    MarkdownLinks links(answer);
    for (MarkdownLink link; links.next(link);)
        pairs.push_back(std::move(link.pair));
    return pairs;
}

std::vector<LinkSpan> attributedAnswer(const QString& answer) {
    std::vector<LinkSpan> spans;
    const QStringView text(answer);
    qsizetype cursor = 0;
    MarkdownLinks links(text);
    for (MarkdownLink link; links.next(link); cursor = link.end) {
        linkifyBareURLs(spans, text.sliced(cursor, link.begin - cursor), cursor);
        spans.push_back({link.begin, link.end - link.begin, link.pair.anchor,
                         QUrl(link.pair.url).isValid() ? link.pair.url : QString()});
    }
    linkifyBareURLs(spans, text.sliced(cursor), cursor);
    return spans;
}

QString openable(const QString& target) {
    const QUrl url(target);
    const QString scheme = url.scheme();
    if (!url.isValid())
        return {};
    if (scheme == QLatin1String("mailto"))
        return mail(url);
    const bool web = scheme == QLatin1String("http") || scheme == QLatin1String("https");
    return web && !url.host().isEmpty() ? target : QString();
}

} // namespace ovalin
