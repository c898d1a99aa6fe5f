#pragma once

#include "GlassWindow.h"
#include "ModeControl.h"
#include "PreviewTextView.h"
#include "Palette.h"
#include "Placement.h"
#include "PromptField.h"
#include "Transcript.h"
#include "Widgets.h"

#include <functional>

namespace ovalin {

/// The capture panel: a card that hangs under the pointer, made anew for every opening. It shows what it is told and
/// reports what the user does; the decisions are its owner's.
///
/// Its window is override-redirect, so that no window manager moves the activation to it; the keyboard reaches it
/// through a grab (KeyboardHold).
class CapturePanel final : public GlassWindow {
    Q_OBJECT
public:
    static constexpr int WIDTH = 480;
    static constexpr int BASE_HEIGHT = 134;

    /// `composited`: a compositing manager runs.
    CapturePanel(Pasteboard& pasteboard, bool composited);

    /// Where it may grow to; without docks unless its owner knows better.
    std::function<std::vector<ScreenArea>()> screens = [] { return currentScreens({}); };

    /// Shows an excerpt, or for an empty one the note that nothing is selected (in Do mode), and resizes.
    void showExcerpt(const QString& text, bool ask);

    /// Makes room for the conversation; once in the life of the panel.
    void revealTranscript();

    void setReplaceButton(const QString& title, bool hidden);
    void setSubmitTitle(const QString& title);

    /// What keeps the prompt from being sent. Here is the one place that knows; the buttons only show it.
    enum class Busy {
        Answering, ///< an answer streams
        Replacing, ///< a text is being replaced or inserted
    };
    void setBusy(Busy with, bool busy);
    [[nodiscard]] bool isBusy(Busy with) const { return with == Busy::Answering ? answering : replacing; }

    [[nodiscard]] int extraCaptureHeight() const { return extraHeight; }

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

Q_SIGNALS:
    void submitTapped();
    void cancelTapped();
    /// The first frame is on its way to the screen.
    void painted();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void layOut();
    void setExtraHeight(int height);
    void growBy(int height);
    [[nodiscard]] QRect inputContainer() const;

    bool firstFrame = true;
    bool answering = false;
    bool replacing = false;
    int extraHeight = 0;
    int inputHeight = 32;
    int previewHeightC = 0;
    int transcriptHeightC = 0;
};

} // namespace ovalin
