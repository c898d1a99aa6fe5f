#pragma once

#include "AgentJob.h"
#include "PasteOver.h"
#include "ReplaceTarget.h"

#include "capture/CaptureContext.h"

#include <QObject>
#include <QPointer>

#include <functional>

namespace ovalin {

/// One press of Replace or Insert and its job: the selection is read, changed, and put over. It outlives the panel that
/// it was pressed in, since a job has no time limit; its text then waits on the clipboard. Ends itself. Main thread.
class Replacement final : public QObject {
    Q_OBJECT
public:
    struct Tools {
        const Desktop& desktop;
        Dispatch& dispatch;
        Selection& selection;
        PasteOver& paste;
        AgentJob job;
        std::function<bool()> panelIsOpen; ///< any
    };
    struct Press {
        QString instruction;
        CaptureContext context;
        std::function<SelectedText()> currentFocus; ///< called on a worker
    };

    /// Begins. `opening` lives while the panel of the press is open.
    Replacement(Tools tools, Press press, QObject* opening, QObject* parent);

Q_SIGNALS:
    /// What it is doing.
    void said(const QString& status);
    /// Nothing was changed, or the source was not.
    void failed(const QString& message);
    /// The source was; nothing is pasted.
    void edited(const QString& status);
    /// The panel has to be out of the way.
    void closing();

private:
    struct Found; // in the application

    [[nodiscard]] static Found look(const Press& press, ReplaceTarget target, const Tools& tools);
    [[nodiscard]] QString whyNot() const;
    void begin();
    void jobEnded(const JobEnd& end);
    void pasteOver(const QString& text);
    [[nodiscard]] bool mayPaste(const QString& text);
    void leave(const QString& text, NotPasted why);
    void pasteNow(const QString& text);
    [[nodiscard]] WindowId frontWindow() const;

    const Tools tools;
    const Press press;
    const ReplaceTarget target;
    const QPointer<QObject> opening;
    const WindowId front; ///< that the user worked in
    std::shared_ptr<const Found> found;
};

} // namespace ovalin
