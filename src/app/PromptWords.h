#pragma once

#include "route/Undelivered.h"

#include <QObject>

#include <optional>

namespace ovalin {

class CapturePanel;
class PromptMode;
struct CaptureContext;
struct Program;

/// The words in the prompt of one opening that were there before it, or outlive it: what was typed earlier, and the
/// requests that could not be handed over. Main thread.
class PromptWords final : public QObject {
    Q_OBJECT
public:
    /// All of them outlive it.
    PromptWords(Program& program, CapturePanel& panel, PromptMode& mode, const CaptureContext& context);

    /// Puts in what the last opening has left, else the oldest request that waits for the user.
    void begin();

    /// Keeps what stands there; for before it is emptied.
    void remember();

    /// Puts these in; what stands there is kept as remember() does.
    void putBack(const QString& text);

    /// The request that stands there; it is the caller's then.
    [[nodiscard]] std::optional<Undelivered> takeUndelivered();

Q_SIGNALS:
    /// The mode may follow; `whole`: nobody is in the middle of a word.
    void changed(bool whole);

private:
    void bringBackUndelivered();
    void recallPrompt(bool older);
    void promptEdited(const QString& text, bool anew);

    Program& program;
    CapturePanel& panel;
    PromptMode& mode;
    const CaptureContext& context;
    QString broughtBack; ///< the request in the prompt that could not be handed over
};

} // namespace ovalin
