#pragma once

#include "Glass.h"
#include "ModeControl.h"
#include "PreviewTextView.h"
#include "Palette.h"
#include "PromptField.h"
#include "Transcript.h"
#include "Widgets.h"

#include <QWidget>

namespace ovalin {

/// The capture panel: a card that hangs under the pointer, made anew for every opening. It shows what it is told and
/// reports what the user does; the decisions are its owner's.
///
/// Its window is override-redirect, so that no window manager moves the activation to it; the keyboard reaches it
/// through a grab (KeyboardHold).
class CapturePanel final : public QWidget {
    Q_OBJECT
public:
    static constexpr int WIDTH = 480;
    static constexpr int BASE_HEIGHT = 134;

    /// `composited`: the window may be translucent.
    CapturePanel(Pasteboard& pasteboard, bool composited);

    /// Grabs the backdrop and shows the panel with its top left corner there (logical pixels).
    void openAt(QPoint corner);

    /// Paints the glass; after openAt() and before the event loop goes on.
    void prepareGlass() { glass.prepare(glassRadius, !composited); }

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
    /// Somebody presses a button of the mouse in the panel.
    void pressed();
    /// The first frame is on its way to the screen.
    void painted();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void layOut();
    void setExtraHeight(int height);
    void growBy(int height);
    [[nodiscard]] QRect inputContainer() const;

    Glass glass;
    const bool composited;
    bool firstFrame = true;
    bool answering = false;
    bool replacing = false;
    int extraHeight = 0;
    int previewHeightC = 0;
    int transcriptHeightC = 0;
    QPoint dragFrom;
};

} // namespace ovalin
