#include "ContextPipeline.h"

#include <QUrl>

#include <mutex>
#include <utility>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

std::mutex reading; // keeps a core busy for a second: one picture at a time

} // namespace

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

ContextPipeline::~ContextPipeline() { closing(); }

void ContextPipeline::startContextPipeline() {
    startSelectionTask();
    startPageTask();
}

void ContextPipeline::startSelectionTask() {
    if (context.leftAlone || std::exchange(selectionAsked, true))
        return;
    const auto read = [&from = selection, subject = Subject(context)] { return from.axSelection(subject); };
    dispatch.inBackground(Queue::UserInitiated, this, read, [this](const SelectedText& found) {
        if (found.source == SelectedText::Source::Nobody)
            startCopyTask(found);
        else
            selectionFound(found);
    });
}

void ContextPipeline::startCopyTask(const SelectedText& found) {
    if (stopReading.stop_requested()) // the panel is gone, and nobody waits for it
        return;
    const auto copy = [&from = selection, subject = Subject(context), found] { return from.orGrab(found, subject); };
    dispatch.inBackground(Queue::UserInitiated, this, copy,
                          [this](const SelectedText& copied) { selectionFound(copied); });
}

void ContextPipeline::selectionFound(const SelectedText& found) {
    context.selectionViaClipboard = found.source == SelectedText::Source::Copy;
    context.capTextWindow = found.window;
    updateCaptureUI(found.text);
}

void ContextPipeline::startPageTask() {
    if (context.leftAlone || std::exchange(pageAsked, true))
        return;
    const auto read = [tabInfo = sources.browserTabInfo, leftAloneNow = sources.leftAloneNow,
                       subject = Subject(context)]() -> std::optional<BrowserTab> {
        auto tab = tabInfo(subject.capBundle);
        return tab && leftAloneNow && leftAloneNow(subject.capWindow, tab->title) ? std::nullopt : tab;
    };
    dispatch.inBackground(Queue::UserInitiated, this, read, [this](const std::optional<BrowserTab>& tab) {
        const bool remote = tab && isRemotePage(tab->url);
        if (tab) {
            context.capURL = tab->url;
            context.capTitle = tab->title;
            checkSiteOwnership(tab->url);
        }
        if (remote)
            context.capContextMode = u"fetch"_s;
        else
            startShotTask();
    });
}

void ContextPipeline::startShotTask() {
    const auto take = [capture = sources.captureWindowPNG, pid = context.capPID] { return capture(pid); };
    dispatch.inBackground(Queue::UserInitiated, this, take, [this](const std::optional<QByteArray>& png) {
        if (!png)
            return;
        context.capShot = png;
        applyShotToPendingSubmit(context.captureToken, *png);
        startTextTask(*png);
    });
}

void ContextPipeline::startTextTask(const QByteArray& png) {
    const auto recognise = [ocr = sources.ocrText, png, stop = stopReading.get_token()]() -> std::optional<QString> {
        const std::lock_guard lock(reading);
        return stop.stop_requested() ? std::nullopt : ocr(png);
    };
    dispatch.inBackground(Queue::UserInitiated, this, recognise, [this](const std::optional<QString>& text) {
        if (text)
            context.capShotText = *text;
    });
}

} // namespace ovalin
