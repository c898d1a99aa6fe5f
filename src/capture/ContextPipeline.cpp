#include "ContextPipeline.h"

#include <QUrl>

namespace ovalin {

bool isRemotePage(const QString& url) {
    if (!isWebPage(url))
        return false;
    const QString host = QUrl(url).host();
    return !host.isEmpty() && !isLocalHost(host);
}

ContextPipeline::ContextPipeline(Dispatch& theDispatch, Selection& theSelection, ContextSources theSources,
                                 CaptureContext& theContext)
    : dispatch(theDispatch)
    , selection(theSelection)
    , sources(std::move(theSources))
    , context(theContext) {}

void ContextPipeline::startContextPipeline(const QUuid& token) {
    ++textSlot->opening;
    startSelectionTask(token);
    startPageTask(token);
}

void ContextPipeline::startSelectionTask(const QUuid& token) {
    const auto read = [this, target = context.selectionTarget()] { return selection.axSelectionOrGrab(target); };
    dispatch.inBackground(Queue::UserInitiated, this, read, [this, token](const SelectedText& found) {
        if (token != context.captureToken)
            return;
        context.selectionViaClipboard = found.source == SelectedText::Source::Copy;
        context.capTextWindow = found.window;
        updateCaptureUI(found.text);
    });
}

void ContextPipeline::startPageTask(const QUuid& token) {
    const auto read = [tabInfo = sources.browserTabInfo, bundle = context.capBundle] { return tabInfo(bundle); };
    dispatch.inBackground(Queue::UserInitiated, this, read,
                          [this, token, pid = context.capPID](const std::optional<BrowserTab>& tab) {
                              const bool current = token == context.captureToken;
                              const bool remote = tab && isRemotePage(tab->url);
                              if (current && tab) {
                                  context.capURL = tab->url;
                                  context.capTitle = tab->title;
                                  checkSiteOwnership(tab->url, token);
                                  if (remote)
                                      context.capContextMode = QStringLiteral("fetch");
                              }
                              if (!remote)
                                  startShotTask(token, pid);
                          });
}

void ContextPipeline::startShotTask(const QUuid& token, qint32 pid) {
    struct Shot {
        QByteArray png;
        QString base64;
    };
    const auto take = [capture = sources.captureWindowPNG, pid]() -> std::optional<Shot> {
        const auto png = capture(pid);
        return png ? std::optional(Shot{*png, QString::fromLatin1(png->toBase64())}) : std::nullopt;
    };
    dispatch.inBackground(Queue::UserInitiated, this, take, [this, token](const std::optional<Shot>& shot) {
        if (!shot)
            return;
        const bool current = token == context.captureToken;
        if (current)
            context.capShotB64 = shot->base64;
        applyShotToPendingSubmit(token, shot->base64);
        if (current) // nobody would read the text of an older opening
            startTextTask(token, shot->png);
    });
}

void ContextPipeline::startTextTask(const QUuid& token, const QByteArray& png) {
    const auto recognise = [ocr = sources.ocrText, png, slot = textSlot,
                            opening = textSlot->opening.load()]() -> std::optional<QString> {
        const std::lock_guard lock(slot->busy);
        return slot->opening == opening ? ocr(png) : std::nullopt;
    };
    dispatch.inBackground(Queue::UserInitiated, this, recognise, [this, token](const std::optional<QString>& text) {
        if (text && token == context.captureToken)
            context.capShotText = *text;
    });
}

} // namespace ovalin
