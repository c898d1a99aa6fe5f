#pragma once

#include "Heartbeat.h"
#include "HotKey.h"
#include "PromptHistory.h"
#include "UserDefaults.h"

#include "ask/AskChat.h"
#include "ask/LinkVerifier.h"
#include "base/Dispatch.h"
#include "base/Paths.h"
#include "capture/BrowserPage.h"
#include "capture/CaptureContext.h"
#include "capture/ContextPipeline.h"
#include "capture/Selection.h"
#include "capture/SelectionWatch.h"
#include "history/AskHistory.h"
#include "intent/IntentClassifier.h"
#include "intent/IntentLexicon.h"
#include "panel/CapturePanel.h"
#include "panel/HistoryPanel.h"
#include "panel/HowtoPanel.h"
#include "platform/Desktop.h"
#include "route/RoutedRequests.h"
#include "transform/AgentJob.h"
#include "transform/PasteOver.h"

#include <QObject>
#include <QPointer>

#include <memory>
#include <stop_token>

namespace ovalin {

class Dictation;

/// The controller: owns the rooms and holds the flows that cross them. Main thread.
class AppDelegate final : public QObject {
public:
    /// `siteOwned` blocks and is called on workers: whether the page at this address is the user's own.
    AppDelegate(Desktop& desktop, Dispatch& dispatch, Paths paths, ContextSources sources,
                std::function<bool(const QString& url)> siteOwned);
    ~AppDelegate() override;

    // Start-up
    void applicationDidFinishLaunching();
    void warmUp();
    /// Hands over what is still under way; nothing is submitted afterwards. Dispatch then ends the work in the
    /// background.
    void applicationWillTerminate();

    // One opening
    void toggle(); ///< what the hotkey and `ovalin toggle` do
    void hotkeyFired();
    void showPanel();
    void closePanel();
    void updateCaptureUI(const QString& text);
    void syncReplaceButton(const QString& selection, bool hidden);
    void checkSiteOwnership(const QString& url, const QUuid& token);
    /// The live selection of the captured application, else the stored excerpt; worker threads.
    [[nodiscard]] std::function<SelectedText()> currentFocus();

    // Mode
    void setMode(bool ask, bool byUser);
    void modeDoTapped();
    void modeAskTapped();
    void applyIntentInference(bool force);
    void recordIntentCommit(const QString& prompt, bool committedAsk);

    // Submit
    void sendTapped();
    void cancelTapped();
    void micTapped();
    void stopRecording();

    // Past conversations
    void historyTapped();
    void showHistoryPanel();
    void closeHistoryPanel();
    void historyRowTapped(const QString& id);
    void resumeAskSession(const QString& id);

    // Ask
    void sendAsk(const QString& question);
    /// A question that nobody has begun to answer stands in the prompt of the next opening.
    void giveBack(const QString& question);

    // Replace and Insert
    void replaceTapped();
    void replaceFailed(const QString& message);

    // How-to card
    void helpTapped();
    void showHowto();
    void closeHowto();

    [[nodiscard]] CapturePanel* currentPanel() const { return panel.get(); }
    [[nodiscard]] HistoryPanel* currentHistoryPanel() const { return historyPanel.get(); }
    [[nodiscard]] const CaptureContext& capture() const { return context; }

private:
    struct Delivery;
    struct ReplacePress;

    [[nodiscard]] std::unique_ptr<Dictation> makeDictation();
    void watchDesktop();
    [[nodiscard]] std::vector<ScreenArea> screens() const;
    void connectPanel();
    void openChat();
    void closeChat();
    void dropPanel();
    void connectChatToHistory();
    void openHistoryPanel(const AskHistoryEntries& entries);
    void setStatus(const QString& text);
    void showPlaceholder();
    /// `excerpt`: absent when the panel shows none; the application is then asked once more.
    void submitDo(const QString& instruction, const std::optional<QString>& excerpt);
    void deliver(const Delivery& delivery);
    /// What is to be called when the request is on the disk: the panel closes then, or after 100 ms.
    [[nodiscard]] RoutedRequests::Recorded closeWhenKept();
    void rememberPrompt();
    void recallPrompt(PromptHistory::Step step);
    void bringBackUndelivered();
    void promptEdited(const QString& text, bool anew);
    void applyShotToPendingSubmit(const QUuid& token, const QString& shotB64);
    void told(const RequestNews& news);
    void hotkeyTaken(int status);
    [[nodiscard]] static QString whyNotReplace(const ReplacePress& press);
    void replaceSelection(const ReplacePress& press);
    void insertGenerated(const ReplacePress& press);
    void jobEnded(const ReplacePress& press, const JobEnd& end);
    void pasteOver(const ReplacePress& press, const QString& text);
    [[nodiscard]] bool mayPaste(const ReplacePress& press, const QString& text);
    void pasteNow(const ReplacePress& press, const QString& text);
    void setReplacing(bool replacing);
    [[nodiscard]] quint32 frontWindow();
    [[nodiscard]] AgentJob agentJob() const;

    Desktop& desktop;
    Dispatch& dispatch;
    const Paths paths;
    std::function<bool(const QString&)> siteOwned;
    UserDefaults defaults;

    HotKey hotKey;
    CaptureContext context;
    Selection selection;
    ContextPipeline pipeline;
    SelectionWatch selectionWatch;
    IntentLexicon intentLexicon;
    std::unique_ptr<RoutedRequests> routedRequests;
    std::unique_ptr<Heartbeat> heartbeat;
    PasteOver paste;
    std::stop_source programEnds; ///< for children that have no time limit
    AskHistory askHistory;
    PromptHistory promptHistory;

    LinkVerifier linkVerifier;

    std::unique_ptr<CapturePanel> panel;
    std::unique_ptr<Dictation> dictation; ///< none on a desktop without speech
    std::unique_ptr<AskChat> chat;        ///< of this opening
    std::unique_ptr<HowtoPanel> howtoPanel;
    std::unique_ptr<HistoryPanel> historyPanel;
    std::unique_ptr<QObject> historyOpening; ///< while the list is being read; without it the list is not wanted
    bool askMode = false;
    bool modeLockedByUser = false;
    OvalinIntent lastPredicted = OvalinIntent::neutral;

    std::vector<std::shared_ptr<Delivery>> deliveries; ///< submitted, their excerpt still being read
    bool handingOver = false;                          ///< Return was pressed; the panel waits for the disk
    QString broughtBack;                               ///< the request in the prompt that could not be handed over
    bool hotkeyTakenSaid = false;
    QString nextOpeningStatus;    ///< said on the hint line of the next opening
    bool nextOpeningAsks = false; ///< what stands in its prompt is a question
    QString nextOpeningPrompt;    ///< words that were taken back: none is lost
};

} // namespace ovalin
