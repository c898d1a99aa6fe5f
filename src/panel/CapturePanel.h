#pragma once

#include "GlassWindow.h"
#include "Placement.h"

#include "views/DictationField.h"

#include <functional>
#include <optional>

namespace ovalin {

class Announcer;
class ChatView;
class GlyphButton;
class Label;
class ModeControl;
class Pasteboard;
class PillButton;
class PreviewTextView;
class PromptField;
class StatusLine;
class Transcript;

/// The capture panel: a card that hangs under the pointer, made anew for every opening. It shows what it is told and
/// reports what the user does; the decisions are its owner's.
///
/// Its window is override-redirect, so that no window manager moves the activation to it; the keyboard reaches it
/// through a grab (KeyboardHold).
class CapturePanel final : public GlassWindow, public DictationField {
    Q_OBJECT
public:
    static constexpr int WIDTH = 480;
    static constexpr int BASE_HEIGHT = 134;

    CapturePanel(Pasteboard& pasteboard, PanelHost& host);

    /// Shows it below the pointer, where it would be without excerpt and note.
    void openUnderPointer();

    /// Shows an excerpt, or for an empty one the note that nothing is selected (in Do mode), and resizes.
    void showExcerpt(const QString& text, bool ask);
    /// Keeps room for that note while nobody knows whether there is an excerpt; before the panel shows.
    void reserveRoom();
    /// What is to be sent: the excerpt as it was given, or as the user has left it, trimmed. Absent where there is none
    /// that the user might have emptied.
    [[nodiscard]] std::optional<QString> excerpt() const;

    /// Lights the segment, and names the button that sends.
    void showMode(bool ask);
    /// `outcome`: what a press would do, as tool tip.
    void setReplaceButton(const QString& title, bool hidden, const QString& outcome = {});
    /// Which of the cards that its buttons open is there; the button is lit.
    enum class OpenCard { None, History, Requests };
    void showCardOpen(OpenCard open);

    /// A status message on the hint line; an empty text clears it.
    void say(const QString& status);
    /// A plain text there.
    void note(const QString& text);
    [[nodiscard]] const QString& hint() const;
    /// For a screen reader alone.
    void announce(const QString& text);

    [[nodiscard]] QString prompt() const override;
    void setPrompt(const QString& text) override;
    /// Which the user can undo.
    void clearPrompt();
    void setPlaceholder(const QString& text);
    void focusPrompt() override;
    [[nodiscard]] bool promptHasFocus() const;
    /// It can be read, but not changed any more.
    void lockPrompt();

    /// Whether what shows a state may move.
    void setMotion(bool moves);

    [[nodiscard]] bool isShown() const override { return isVisible(); }
    void setMicState(bool active, const QString& note) override;

    /// What keeps the prompt from being sent. Here is the one place that knows; the buttons only show it.
    enum class Busy {
        Answering, ///< an answer streams
        Replacing, ///< a text is being replaced or inserted
    };
    void setBusy(Busy with, bool busy);
    [[nodiscard]] bool isBusy(Busy with) const { return with == Busy::Answering ? answering : replacing; }

    /// The conversation, which shows from revealTranscript() on.
    [[nodiscard]] ChatView& chatView();
    /// Makes room for the conversation; once in the life of the panel.
    void revealTranscript();

Q_SIGNALS:
    void submitTapped();
    void cancelTapped();
    void modeDoTapped();
    void modeAskTapped();
    void replaceTapped();
    void micTapped();
    void historyTapped();
    void requestsTapped();
    void helpTapped();
    /// The user has changed the prompt. `anew`: nothing is left of what stood there.
    void promptEdited(const QString& text, bool anew);
    /// Anybody has.
    void promptChanged();
    /// Up (older) or Down in the prompt.
    void promptWalked(bool older);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void connectControls();
    void layOut();
    void setExtraHeight(int height);
    void growBy(int height);
    [[nodiscard]] QRect inputContainer() const;

    Announcer* const announcer;
    ModeControl* const modeControl;
    PreviewTextView* const previewView;
    Label* const emptyNoteRef;
    Transcript* const transcriptView;
    PromptField* const promptField;
    GlyphButton* const micButton;
    StatusLine* const hintField;
    PillButton* const cancelBtn;
    PillButton* const replaceBtnRef;
    PillButton* const sendBtnRef;
    GlyphButton* const historyBtnRef;
    GlyphButton* const helpBtn;
    GlyphButton* const requestsBtn;

    bool answering = false;
    bool replacing = false;
    int extraHeight = 0;
    int inputHeight = 32;
    int previewHeightC = 0;
    int transcriptHeightC = 0;
};

} // namespace ovalin
