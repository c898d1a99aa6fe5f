#pragma once

#include "BrowserPage.h"
#include "CaptureContext.h"
#include "Selection.h"

#include "base/Dispatch.h"

#include <QByteArray>
#include <QObject>

#include <stop_token>

namespace ovalin {

/// Where page, picture and text of the front window come from. Each blocks and is called on a worker thread; an absent
/// result means that the source has nothing.
struct ContextSources {
    std::function<std::optional<BrowserTab>(const QString& bundleId)> browserTabInfo;
    std::function<std::optional<QByteArray>(qint32 pid)> captureWindowPNG;
    std::function<std::optional<QString>(const QByteArray& png)> ocrText;
    LeftAloneNow leftAloneNow = {};
};

/// Fills the capture record of one opening in the background. Its end drops what is on its way.
class ContextPipeline final : public QObject {
public:
    /// The record outlives it.
    ContextPipeline(Dispatch& dispatch, Selection& selection, ContextSources sources, CaptureContext& context);
    ~ContextPipeline() override;

    /// Begins with the selection, once, unless what is in front is left alone: widgets can be made meanwhile. The panel
    /// is to have the keyboard before the event loop goes on, since a copy may be sent then. Main thread; returns at
    /// once.
    void startSelectionTask();

    /// Begins with the page, or the picture, which keeps a core busy for a while; once, and unless what is in front is
    /// left alone. Main thread; returns at once.
    void startPageTask();

    /// Both.
    void startContextPipeline();

    /// The panel closes: nobody would read the text of a picture any more; a waiting request still wants the picture.
    void closing() { stopReading.request_stop(); }

    /// The excerpt was found, or there is none (empty).
    std::function<void(const QString& text)> updateCaptureUI;
    std::function<void(const QString& url)> checkSiteOwnership;
    /// A waiting Do request compares the token with its own.
    std::function<void(const QUuid& token, const QByteArray& shot)> applyShotToPendingSubmit;

private:
    void startCopyTask(const SelectedText& found);
    void selectionFound(const SelectedText& found);
    void startShotTask();
    void startTextTask(const QByteArray& png);

    Dispatch& dispatch;
    Selection& selection;
    ContextSources sources;
    CaptureContext& context;
    std::stop_source stopReading;
    bool selectionAsked = false, pageAsked = false;
};

/// Whether the agent fetches the page by itself: an http(s) address on a host that is not this machine's. Pure.
[[nodiscard]] bool isRemotePage(const QString& url);

} // namespace ovalin
