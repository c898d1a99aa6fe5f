#include "WebSearch.h"

#include "base/children/ChildProcess.h"
#include "base/Text.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr qsizetype OUTPUT_LIMIT = qsizetype{4} << 20; // bytes; five results are a few thousand

/// How long a script has for its SIGTERM, out of the limit.
constexpr std::chrono::milliseconds GRACE{500};

} // namespace

const QString& searchPageURL() {
    static const QString url = u"https://www.google.com/search?q="_s;
    return url;
}

bool isSearchPage(const QString& url) { return url.contains(QLatin1String("google.com/search")); }

QString googleSearchURL(const QString& query) {
    QString url = searchPageURL();
    for (const uint character : query.toUcs4()) {
        const QString text = QString::fromUcs4(reinterpret_cast<const char32_t*>(&character), 1);
        if (QChar::isLetterOrNumber(character) || QChar::isMark(character))
            url += text;
        else
            url += QString::fromLatin1(text.toUtf8().toPercentEncoding(QByteArray(), "-._~"));
    }
    return url;
}

QString googleSearch(const QString& question, const QString& searchScript, std::chrono::milliseconds limit) {
    QString argument = question;
    argument.remove(QChar()); // NUL: no argument can hold it
    RunOptions options;
    options.grace = std::min(GRACE, limit / 2);
    options.deadline = limit - options.grace;
    options.outputLimit = OUTPUT_LIMIT;
    const QString line = shellQuoted(searchScript) + QLatin1Char(' ') + shellQuoted(argument) + u" 5"_s;
    // Neither the exit status nor being late matters: a whole array is a result, anything less is none.
    return searchResultText(runToEnd(shellCommand(line), options).output);
}

QString searchResultText(const QByteArray& json) {
    const QJsonDocument document = QJsonDocument::fromJson(json);
    QStringList lines;
    for (const auto& value : document.array()) {
        if (!value.isObject())
            return {};
        const QString url = value[u"url"_s].toString();
        if (url.isEmpty())
            continue;
        QString line = u"- %1 \u2014 "_s.arg(value[u"title"_s].toString()) + url;
        if (const QString snippet = value[u"snippet"_s].toString(); !snippet.isEmpty())
            line += u"\n  "_s + snippet;
        lines.append(line);
    }
    return lines.join(QLatin1Char('\n'));
}

QString groundingBlock(const QString& question, const QString& results) {
    if (results.isEmpty())
        return u"NO web search results are available for this turn. Do NOT provide, invent, guess, or "
               "recall any direct product/article URL \u2014 guessed URLs are often wrong. For every "
               "item you name, make its link a Google search: [Name]("_s +
               searchPageURL() + u"URL_ENCODED_NAME). This is mandatory."_s;
    return u"Web search results for \""_s + question +
           u"\" (use ONLY these real URLs for links \u2014 do not invent or recall any other URL):\n"_s + results;
}

} // namespace ovalin
