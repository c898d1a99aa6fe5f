#include "AskMessage.h"

#include "base/Text.h"
#include "capture/CaptureContext.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr qsizetype SCREEN_TEXT_LENGTH = 4000;

QString fenced(const QString& lead, const QString& text) {
    const QString fence = u"\n\"\"\""_s;
    return lead + fence + QLatin1Char('\n') + text + fence;
}

QJsonObject textBlock(const QString& text) { return {{u"type"_s, u"text"_s}, {u"text"_s, text}}; }

QString pagePart(const QString& url, const QString& title) {
    const QString titlePart = title.isEmpty() ? QString() : QLatin1Char('"') + title + u"\" \u2014 "_s;
    return u"The page he's on: "_s + titlePart + url +
           u"\nFetch this URL when the question needs the page's content."_s;
}

} // namespace

AskPreamble askPreamble(const CaptureContext& context) {
    AskPreamble preamble;
    preamble.parts.append(u"Jorvan is looking at "_s + context.capApp + QLatin1Char('.'));
    if (context.capContextMode == QLatin1String("fetch") && context.capURL) {
        preamble.parts.append(pagePart(*context.capURL, context.capTitle.value_or(QString())));
    } else if (context.capContextMode == QLatin1String("screenshot") && context.capShot) {
        preamble.attachShot = true;
        preamble.parts.append(u"A screenshot of what he's looking at is attached \u2014 use it as the full context."_s);
        if (context.capShotText && !context.capShotText->isEmpty())
            preamble.parts.append(fenced(u"Text on his screen (on-device OCR, may have minor errors):"_s,
                                         firstCharacters(*context.capShotText, SCREEN_TEXT_LENGTH)));
    }
    return preamble;
}

QString askMessage(const QStringList& preamble, const QString& selection, const QString& searchBlock,
                   const QString& question) {
    QStringList parts = preamble;
    if (!selection.isEmpty())
        parts.append(fenced(u"He has highlighted this specific part to focus on:"_s, selection));
    parts.append(searchBlock);
    parts.append(u"Question: "_s + question);
    return parts.join(u"\n\n"_s);
}

std::optional<QByteArray> askMessageLine(const AskMessage& message) {
    if (!message.text.isValidUtf16() || !message.saidSoFar.isValidUtf16())
        return std::nullopt;
    QJsonArray content{textBlock(message.text)};
    if (message.shot) {
        content.append(QJsonObject{
            {u"type"_s, u"image"_s},
            {u"source"_s,
             QJsonObject{{u"type"_s, u"base64"_s}, {u"media_type"_s, u"image/png"_s}, {u"data"_s, QString()}}}});
    }
    if (!message.saidSoFar.isEmpty())
        content.append(textBlock(fenced(u"Your last answer was cut short, and you may not remember it. You had said:"_s,
                                        message.saidSoFar)));
    content.append(textBlock(u"Answer the question above."_s));
    const QJsonObject user{{u"type"_s, u"user"_s},
                           {u"message"_s, QJsonObject{{u"role"_s, u"user"_s}, {u"content"_s, content}}}};
    QByteArray line = QJsonDocument(user).toJson(QJsonDocument::Compact);
    if (message.shot) {
        // Put in afterwards: nothing in it needs escaping, and looking for that takes its time with megabytes. No text
        // holds these quotes unescaped.
        const QByteArray place("\"data\":\"");
        line.insert(line.lastIndexOf(place) + place.size(), message.shot->toBase64());
    }
    return line + '\n';
}

} // namespace ovalin
