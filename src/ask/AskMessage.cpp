#include "AskMessage.h"

#include "base/Text.h"
#include "capture/CaptureContext.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace ovalin {

namespace {

constexpr qsizetype SCREEN_TEXT_LENGTH = 4000;

QString fenced(const QString& lead, const QString& text) {
    const QString fence = QStringLiteral("\n\"\"\"");
    return lead + fence + QLatin1Char('\n') + text + fence;
}

QJsonObject textBlock(const QString& text) {
    return {{QStringLiteral("type"), QStringLiteral("text")}, {QStringLiteral("text"), text}};
}

QString pagePart(const QString& url, const QString& title) {
    const QString titlePart = title.isEmpty() ? QString() : QLatin1Char('"') + title + QStringLiteral("\" \u2014 ");
    return QStringLiteral("The page he's on: ") + titlePart + url +
           QStringLiteral("\nFetch this URL when the question needs the page's content.");
}

} // namespace

AskPreamble askPreamble(const CaptureContext& context) {
    AskPreamble preamble;
    preamble.parts.append(QStringLiteral("Jorvan is looking at ") + context.capApp + QLatin1Char('.'));
    if (context.capContextMode == QLatin1String("fetch") && context.capURL) {
        preamble.parts.append(pagePart(*context.capURL, context.capTitle.value_or(QString())));
    } else if (context.capContextMode == QLatin1String("screenshot") && context.capShot) {
        preamble.attachShot = true;
        preamble.parts.append(
            QStringLiteral("A screenshot of what he's looking at is attached \u2014 use it as the full context."));
        if (context.capShotText && !context.capShotText->isEmpty())
            preamble.parts.append(fenced(QStringLiteral("Text on his screen (on-device OCR, may have minor errors):"),
                                         firstCharacters(*context.capShotText, SCREEN_TEXT_LENGTH)));
    }
    return preamble;
}

QString askMessage(const QStringList& preamble, const QString& selection, const QString& searchBlock,
                   const QString& question) {
    QStringList parts = preamble;
    if (!selection.isEmpty())
        parts.append(fenced(QStringLiteral("He has highlighted this specific part to focus on:"), selection));
    parts.append(searchBlock);
    parts.append(QStringLiteral("Question: ") + question);
    return parts.join(QStringLiteral("\n\n"));
}

std::optional<QByteArray> askMessageLine(const AskMessage& message) {
    if (!message.text.isValidUtf16() || !message.saidSoFar.isValidUtf16())
        return std::nullopt;
    QJsonArray content{textBlock(message.text)};
    if (message.shot) {
        content.append(QJsonObject{
            {QStringLiteral("type"), QStringLiteral("image")},
            {QStringLiteral("source"), QJsonObject{{QStringLiteral("type"), QStringLiteral("base64")},
                                                   {QStringLiteral("media_type"), QStringLiteral("image/png")},
                                                   {QStringLiteral("data"), QString()}}}});
    }
    if (!message.saidSoFar.isEmpty())
        content.append(textBlock(
            fenced(QStringLiteral("Your last answer was cut short, and you may not remember it. You had said:"),
                   message.saidSoFar)));
    content.append(textBlock(QStringLiteral("Answer the question above.")));
    const QJsonObject user{{QStringLiteral("type"), QStringLiteral("user")},
                           {QStringLiteral("message"), QJsonObject{{QStringLiteral("role"), QStringLiteral("user")},
                                                                   {QStringLiteral("content"), content}}}};
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
