#pragma once

#include "BrowserPage.h"
#include "CaptureContext.h"
#include "Selection.h"

#include "base/Dispatch.h"

#include <QByteArray>
#include <QObject>

#include <atomic>
#include <memory>
#include <mutex>

namespace ovalin {

/// Where page, picture and text of the front window come from. Each blocks and is called on a worker thread; an absent
/// result means that the source has nothing.
struct ContextSources {
    std::function<std::optional<BrowserTab>(const QString& bundleId)> browserTabInfo;
    std::function<std::optional<QByteArray>(qint32 pid)> captureWindowPNG;
    std::function<std::optional<QString>(const QByteArray& png)> ocrText;
};

/// Fills the capture record of an opening in the background. Results come back to the main thread and count only while
/// their token is the record's own.
class ContextPipeline final : public QObject {
public:
    ContextPipeline(Dispatch& dispatch, Selection& selection, ContextSources sources, CaptureContext& context);

    /// Starts both halves, selection and page/picture, for the record as it is now. Main thread; returns at once.
    void startContextPipeline(const QUuid& token);

    /// The excerpt was found, or there is none (empty).
    std::function<void(const QString& text)> updateCaptureUI;
    std::function<void(const QString& url, const QUuid& token)> checkSiteOwnership;
    /// Called for every screenshot, current or not: a waiting Do request compares the token with its own.
    std::function<void(const QUuid& token, const QString& shotB64)> applyShotToPendingSubmit;

private:
    void startSelectionTask(const QUuid& token);
    void startPageTask(const QUuid& token);
    void startShotTask(const QUuid& token, qint32 pid);
    void startTextTask(const QUuid& token, const QByteArray& png);

    /// Recognition keeps a core busy for a second: one at a time, and none begins for an older opening.
    struct TextSlot {
        std::mutex busy;
        std::atomic<quint64> opening{0};
    };

    Dispatch& dispatch;
    Selection& selection;
    ContextSources sources;
    CaptureContext& context;
    const std::shared_ptr<TextSlot> textSlot = std::make_shared<TextSlot>(); // shared with workers
};

/// Whether the agent fetches the page by itself: an http(s) address on a host that is not this machine's. Pure.
[[nodiscard]] bool isRemotePage(const QString& url);

} // namespace ovalin
