#pragma once

#include "Cards.h"
#include "PromptMode.h"
#include "PromptWords.h"

#include "ask/AskChat.h"
#include "capture/Captured.h"
#include "capture/SelectionWatch.h"
#include "dictation/Dictation.h"
#include "panel/CapturePanel.h"
#include "platform/Workspace.h"
#include "route/RoutedRequests.h"

#include <memory>
#include <optional>

namespace ovalin {

struct Program;

/// One opening of the panel: born when it shows, gone when it closes, and with it whatever was on its way to it. It
/// holds the flows that cross the rooms. Main thread.
class Opening final : public QObject {
    Q_OBJECT
public:
    /// Shows the panel over this application.
    Opening(Program& program, const std::optional<FrontApplication>& front);
    ~Opening() override;

    /// Begins to look at what the user works on, unless that cannot be told apart from what is others'.
    void startCapture();
    void showHowto() { cards.showHowto(); }
    /// Sends the prompt once what is in front is known: its page or its picture, or nothing for a while.
    void sendWhenSeen();
    /// `id`: the request to begin at; may be empty.
    void showRequests(const QString& id) { cards.showRequests(id); }

Q_SIGNALS:
    /// It is to be gone. Nothing of it may be used after that.
    void closed();

private:
    void connectPanel();
    void connectCapture();
    void connectChat();
    void show();
    void showFrame();

    // What is shown above the prompt
    void updateCaptureUI(const QString& text);
    void checkSiteOwnership(const QString& url);
    void showReplaceButton();
    void showWhatComes();
    void showPlaceholder();

    // Mode
    void modeSet(bool byUser);
    void applyIntentInference(bool force);

    // Submit
    void sendTapped();
    void sendAwaited();
    void sendAsk(const QString& question);
    void sendDo(const QString& instruction);
    [[nodiscard]] RoutedRequests::Recorded closeWhenKept();

    void replaceTapped();
    void micTapped();
    void stopRecording();
    void conversationChosen(const QString& id, bool byReturn);
    void resumeAskSession(const QString& id);

    void holdKeyboard();

    Program& program;
    bool sendsWhenSeen = false;
    const QString leftAlone; ///< why nothing is looked at; empty: it is
    const std::shared_ptr<Captured> captured;
    CaptureContext& context;

    const Shown<CapturePanel> panel;
    PromptMode mode;
    PromptWords words;
    Cards cards;
    AskChat chat;
    std::unique_ptr<Dictation> dictation; ///< none on a desktop without speech
    std::optional<SelectionWatch> selectionWatch;
};

} // namespace ovalin
